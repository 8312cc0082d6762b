// What it costs to browse a long list: prints the milliseconds until its first page is painted,
// those until every row is there, the longest pause of the window meanwhile, and the kB that the
// rows take. Its argument is a program folder with the list as its list 1.

#include "frmemail.h"

#include "messageboxoperator.h"
#include "programfolder.h"
#include "recipientgrid.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTextStream>

#include <algorithm>

namespace
{

/// The memory in use, in kB.
qint64 residentSize()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("VmRSS:"))
                return line.simplified().split(' ').value(1).toLongLong();
        }
    }
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication app(argc, argv);
    const ProgramFolder folder(QApplication::arguments().value(1));
    MessageBoxOperator op;
    frmemail window(folder, op);
    window.show();
    QApplication::processEvents();
    const qint64 sizeBefore = residentSize();

    QElapsedTimer timer;
    timer.start();
    if (!window.Load_db(folder.listConnectionString(1), QStringLiteral("L"), 1))
        return 1;
    window.grab();
    const qint64 firstPage = timer.elapsed();
    qint64 longestPause = 0;
    while (!window.findChild<RecipientGrid *>()->recipients().isComplete()) {
        QElapsedTimer pause;
        pause.start();
        QApplication::processEvents();
        longestPause = std::max(longestPause, pause.elapsed());
    }
    QTextStream(stdout) << firstPage << ' ' << timer.elapsed() << ' ' << longestPause << ' '
                        << residentSize() - sizeBefore << '\n';
}
