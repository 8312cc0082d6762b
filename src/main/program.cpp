// Quillbright: the program with its windows.

#include "appearance.h"
#include "desktopspreadsheet.h"
#include "mainwindow.h"

#include "clock.h"
#include "curlwebfetch.h"
#include "messageboxoperator.h"
#include "programfolder.h"
#include "smtpsendmail.h"
#include "texthtmlview.h"
#include "webhtmlview.h"
#include "yield.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QSocketNotifier>

#include <csignal>

#include <sys/stat.h>
#include <unistd.h>

namespace
{

int endPipe[2];

/// What ends a program from outside, a terminal that closes among it, ends this one as its close
/// box does: a run finishes its recipient first. A second SIGINT or SIGTERM ends it at once.
void endInOrder(QCoreApplication &app)
{
    if (::pipe(endPipe) != 0)
        return;
    for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
        const auto end = [](int given) {
            if (given != SIGHUP)
                std::signal(given, SIG_DFL);
            [[maybe_unused]] const auto written = ::write(endPipe[1], "", 1);
        };
        if (std::signal(number, end) == SIG_IGN) // as whoever started the program wants it
            std::signal(number, SIG_IGN);
    }
    auto *notifier = new QSocketNotifier(endPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&app] {
        char byte = 0;
        if (::read(endPipe[0], &byte, 1) == 1)
            app.quit();
    });
}

/// The web engine ends the whole program when it is started by root with its sandbox on.
HtmlView *makeHtmlView(QWidget *parent)
{
    if (geteuid() == 0 && !qEnvironmentVariableIsSet("QTWEBENGINE_DISABLE_SANDBOX"))
        return new TextHtmlView(parent);
    return new WebHtmlView(parent);
}

} // namespace

int main(int argc, char *argv[])
{
    umask(077); // what the program writes holds recipients
    // The engine that shows HTML is made later than it wants to be asked for this.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quillbright"));
    QApplication::setApplicationVersion(QStringLiteral(QUILLBRIGHT_VERSION));
    setUpAppearance();
    endInOrder(app);

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption({QStringLiteral("folder"), QStringLiteral("The program folder to work on."),
                      QStringLiteral("DIR")});
    parser.process(app);
    const ProgramFolder folder = parser.isSet(QStringLiteral("folder"))
                                     ? ProgramFolder(parser.value(QStringLiteral("folder")))
                                     : ProgramFolder::ofExecutable();

    MessageBoxOperator op;
    SystemClock clock;
    EventLoopYield yield;
    CurlWebFetch web(yield);
    DesktopSpreadsheet spreadsheet;
    Main window({folder, op, clock, yield, web, spreadsheet, &makeHtmlView,
                 [&yield] { return std::make_unique<SmtpSendMail>(yield); }});
    window.load();
    return QApplication::exec();
}
