// quillbright-console: the program without a window, for servers, cron and tests.

#include "consolemessages.h"
#include "consolerun.h"
#include "terminal.h"

#include "programfolder.h"

#include <QCommandLineParser>
#include <QCoreApplication>

namespace
{

const QString usage = QStringLiteral(
    "usage: quillbright-console [--folder DIR] jobs [--json]\n"
    "       quillbright-console [--folder DIR] start JOB [--resend-failed] [--rerun N]\n"
    "       quillbright-console [--folder DIR] reset JOB\n"
    "       quillbright-console [--folder DIR] messages [--json]\n"
    "       quillbright-console [--folder DIR] test-send MESSAGE ADDRESS\n"
    "\n"
    "JOB is a job number or a job's exact name.\n"
    "MESSAGE is a message number or a message's exact subject.\n"
    "  --folder DIR      the program folder; default: the folder of this program\n"
    "  --json            print the jobs or messages as JSON\n"
    "  --resend-failed   send to the failed recipients only\n"
    "  --rerun N         without a terminal to ask on, rerun over failures N more times\n"
    "  --batch-pause MS  wait between two batches of 50 recipients; default: 1000\n"
    "\n"
    "Exit status: 0 complete, 1 complete with failures, 2 wrong usage, 3 paused,\n"
    "4 refused to start, 5 storage error.");

ExitStatus wrongUsage(const QString &why)
{
    printMessage(why + QLatin1Char('\n') + usage);
    return WrongUsage;
}

/// The options that belong to `command`; others given are wrong usage.
bool onlyHas(const QCommandLineParser &parser, const QStringList &allowed)
{
    for (const QString &name : parser.optionNames()) {
        if (name != QLatin1String("folder") && !allowed.contains(name))
            return false;
    }
    return true;
}

ExitStatus run(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOptions({{QStringLiteral("folder"), {}, QStringLiteral("DIR")},
                       {QStringLiteral("json"), {}},
                       {QStringLiteral("resend-failed"), {}},
                       {QStringLiteral("rerun"), {}, QStringLiteral("N")},
                       {QStringLiteral("batch-pause"), {}, QStringLiteral("MS")},
                       {QStringLiteral("help"), {}}});
    if (!parser.parse(arguments))
        return wrongUsage(parser.errorText());
    if (parser.isSet(QStringLiteral("help"))) {
        printResult(usage);
        return Complete;
    }
    const QStringList words = parser.positionalArguments();
    const QString command = words.value(0);
    const ProgramFolder folder = parser.isSet(QStringLiteral("folder"))
                                     ? ProgramFolder(parser.value(QStringLiteral("folder")))
                                     : ProgramFolder::ofExecutable();

    if (command == QLatin1String("jobs") && words.size() == 1 &&
        onlyHas(parser, {QStringLiteral("json")}))
        return listJobs(folder, parser.isSet(QStringLiteral("json")));

    if (command == QLatin1String("start") && words.size() == 2 &&
        onlyHas(parser, {QStringLiteral("resend-failed"), QStringLiteral("rerun"),
                         QStringLiteral("batch-pause")})) {
        StartOptions options;
        options.failedOnly = parser.isSet(QStringLiteral("resend-failed"));
        bool ok = true;
        const auto number = [&](const QString &name, int fallback) {
            if (!ok || !parser.isSet(name))
                return fallback;
            const int value = parser.value(name).toInt(&ok);
            ok = ok && value >= 0;
            return value;
        };
        options.reruns = number(QStringLiteral("rerun"), options.reruns);
        options.batchPauseMs = number(QStringLiteral("batch-pause"), options.batchPauseMs);
        if (!ok)
            return wrongUsage(QStringLiteral("A whole number is needed."));
        return startJob(folder, words.at(1), options);
    }

    if (command == QLatin1String("reset") && words.size() == 2 && onlyHas(parser, {}))
        return resetJob(folder, words.at(1));

    if (command == QLatin1String("messages") && words.size() == 1 &&
        onlyHas(parser, {QStringLiteral("json")}))
        return listMessages(folder, parser.isSet(QStringLiteral("json")));

    if (command == QLatin1String("test-send") && words.size() == 3 && onlyHas(parser, {}))
        return testSend(folder, words.at(1), words.at(2));
    return wrongUsage(QStringLiteral("Wrong or missing command."));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    return run(app.arguments());
}
