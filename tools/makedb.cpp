// quillbright-makedb FILE SCRIPT: runs an SQL script on a database file, making the file when there
// is none. Makes the databases of a new program folder when the program is built, and fills a
// sample one.

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>

#include <fstream>
#include <iostream>
#include <sstream>

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::cerr << "usage: quillbright-makedb FILE SCRIPT\n";
        return 2;
    }
    std::ifstream script(argv[2]);
    std::ostringstream sql;
    sql << script.rdbuf();
    if (!script || sql.str().empty()) {
        std::cerr << "quillbright-makedb: cannot read " << argv[2] << '\n';
        return 1;
    }
    try {
        SQLite::Database(argv[1], SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE).exec(sql.str());
    } catch (const SQLite::Exception &e) {
        std::cerr << "quillbright-makedb: " << argv[2] << ": " << e.what() << '\n';
        return 1;
    }
    return 0;
}
