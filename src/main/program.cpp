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

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace
{

/// The web engine ends the whole program when it is started by root with its sandbox on.
HtmlView *makeHtmlView(QWidget *parent)
{
#ifdef Q_OS_UNIX
    if (geteuid() == 0 && !qEnvironmentVariableIsSet("QTWEBENGINE_DISABLE_SANDBOX"))
        return new TextHtmlView(parent);
#endif
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
