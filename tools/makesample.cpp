// quillbright-makesample FILE: makes the workbook that shows how recipients are laid out for an
// import. Runs when the program is built.

#include "xlsworkbook.h"

#include <QStringList>

#include <iostream>

int main(int argc, char *argv[])
{
    if (argc != 2) {
        std::cerr << "usage: quillbright-makesample FILE\n";
        return 2;
    }
    const auto row = [](const char *cells) {
        return QString::fromUtf8(cells).split(QLatin1Char('|'));
    };
    XlsWorkbook workbook;
    workbook.addSheet(QStringLiteral("Recipients"),
                      {row("Email|Firstname|Lastname|Title|Contact|Company|Memo"),
                       row("helen.fraser@example.com|Helen|Fraser|Dr|0117 496 0152|Fraser & "
                           "Sons|Prefers mornings"),
                       row("jorg@example.net|Jörg|Lindström|Mr|+46 8 123 456 00||"),
                       row("office@example.org||||0117 496 0199||")});
    if (workbook.save(QString::fromLocal8Bit(argv[1])))
        return 0;
    std::cerr << "quillbright-makesample: cannot write " << argv[1] << '\n';
    return 1;
}
