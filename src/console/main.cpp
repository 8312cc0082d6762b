// quillbright-console: the program without a window, for servers, cron and tests.

#include "consolelists.h"
#include "consolemessages.h"
#include "consolerun.h"
#include "terminal.h"

#include "programfolder.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <sys/stat.h>

#include <cstdio>
#include <vector>

namespace
{

const QString usage = QStringLiteral(
    "usage: quillbright-console [--folder DIR] jobs [--json]\n"
    "       quillbright-console [--folder DIR] start JOB [--resend-failed] [--rerun N]\n"
    "       quillbright-console [--folder DIR] reset JOB\n"
    "       quillbright-console [--folder DIR] lists [--json]\n"
    "       quillbright-console [--folder DIR] import LIST FILE [--separator S]\n"
    "       quillbright-console [--folder DIR] export LIST FILE [--filter all|success|fail]\n"
    "       quillbright-console [--folder DIR] messages [--json]\n"
    "       quillbright-console [--folder DIR] test-send MESSAGE ADDRESS\n"
    "\n"
    "JOB, LIST and MESSAGE are a number or an exact name (a message's is its subject). An import "
    "reads delimited text or an .xls\n"
    "workbook; an export writes delimited text, or a workbook where FILE ends in .xlsx.\n"
    "  --folder DIR      the program folder; default: the folder of this program\n"
    "  --json            print the jobs, lists or messages as JSON\n"
    "  --resend-failed   send to the failed recipients only\n"
    "  --rerun N         without a terminal to ask on, rerun over failures N more times\n"
    "  --batch-pause MS  wait between two batches of 50 recipients; default: 1000\n"
    "  --separator S     what parts the fields of a line, or TAB; default: ,\n"
    "  --filter F        all recipients, those that have not failed, or those that have\n"
    "\n"
    "Exit status: 0 complete, 1 complete with failures, 2 wrong usage, 3 paused or\n"
    "interrupted, 4 refused to start, 5 storage error.");

ExitStatus wrongUsage(const QString &why)
{
    printMessage(why + QLatin1Char('\n') + usage);
    return WrongUsage;
}

/// What was typed: the words after the command, and the options.
struct Request {
    const ProgramFolder &folder;
    QStringList words;
    const QCommandLineParser &options;

    bool isSet(const char *option) const { return options.isSet(QLatin1String(option)); }
    QString value(const char *option) const { return options.value(QLatin1String(option)); }
};

ExitStatus start(const Request &request)
{
    StartOptions options;
    options.failedOnly = request.isSet("resend-failed");
    bool ok = true;
    const auto number = [&](const char *name, int fallback) {
        if (!ok || !request.isSet(name))
            return fallback;
        const int value = request.value(name).toInt(&ok);
        ok = ok && value >= 0;
        return value;
    };
    options.reruns = number("rerun", options.reruns);
    options.batchPauseMs = number("batch-pause", options.batchPauseMs);
    if (!ok)
        return wrongUsage(QStringLiteral("A whole number is needed."));
    return startJob(request.folder, request.words[0], options);
}

ExitStatus exportTo(const Request &request)
{
    const QStringList filters{QStringLiteral("all"), QStringLiteral("success"),
                              QStringLiteral("fail")};
    const qsizetype filter = request.isSet("filter") ? filters.indexOf(request.value("filter")) : 0;
    if (filter < 0)
        return wrongUsage(QStringLiteral("The filter is all, success or fail."));
    return exportList(request.folder, request.words[0], request.words[1],
                      static_cast<ExportFilter>(filter));
}

struct Command {
    const char *name;
    qsizetype words; ///< that it takes
    QStringList options;
    ExitStatus (*run)(const Request &request);
};

const std::vector<Command> commands = {
    {"jobs",
     0,
     {QStringLiteral("json")},
     [](const Request &r) { return listJobs(r.folder, r.isSet("json")); }},
    {"start",
     1,
     {QStringLiteral("resend-failed"), QStringLiteral("rerun"), QStringLiteral("batch-pause")},
     start},
    {"reset", 1, {}, [](const Request &r) { return resetJob(r.folder, r.words[0]); }},
    {"lists",
     0,
     {QStringLiteral("json")},
     [](const Request &r) { return listMailLists(r.folder, r.isSet("json")); }},
    {"import",
     2,
     {QStringLiteral("separator")},
     [](const Request &r) {
         return importList(r.folder, r.words[0], r.words[1],
                           r.isSet("separator") ? r.value("separator") : QStringLiteral(","));
     }},
    {"export", 2, {QStringLiteral("filter")}, exportTo},
    {"messages",
     0,
     {QStringLiteral("json")},
     [](const Request &r) { return listMessages(r.folder, r.isSet("json")); }},
    {"test-send",
     2,
     {},
     [](const Request &r) { return testSend(r.folder, r.words[0], r.words[1]); }},
};

/// The command of the name with these words; an option that it does not take is wrong usage.
const Command *find(const QStringList &words, const QStringList &options)
{
    for (const Command &command : commands) {
        if (words.value(0) != QLatin1String(command.name) || words.size() != 1 + command.words)
            continue;
        for (const QString &option : options) {
            if (option != QLatin1String("folder") && !command.options.contains(option))
                return nullptr;
        }
        return &command;
    }
    return nullptr;
}

ExitStatus run(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOptions({{QStringLiteral("folder"), {}, QStringLiteral("DIR")},
                       {QStringLiteral("json"), {}},
                       {QStringLiteral("resend-failed"), {}},
                       {QStringLiteral("rerun"), {}, QStringLiteral("N")},
                       {QStringLiteral("batch-pause"), {}, QStringLiteral("MS")},
                       {QStringLiteral("separator"), {}, QStringLiteral("S")},
                       {QStringLiteral("filter"), {}, QStringLiteral("F")},
                       {QStringLiteral("help"), {}}});
    if (!parser.parse(arguments))
        return wrongUsage(parser.errorText());
    if (parser.isSet(QStringLiteral("help"))) {
        printResult(usage);
        return Complete;
    }
    if (parser.isSet(QStringLiteral("folder")) && parser.value(QStringLiteral("folder")).isEmpty())
        return wrongUsage(QStringLiteral("--folder names no folder."));
    const QStringList words = parser.positionalArguments();
    const Command *command = find(words, parser.optionNames());
    if (!command)
        return wrongUsage(QStringLiteral("Wrong or missing command."));
    const ProgramFolder folder = parser.isSet(QStringLiteral("folder"))
                                     ? ProgramFolder(parser.value(QStringLiteral("folder")))
                                     : ProgramFolder::ofExecutable();
    return command->run({folder, words.mid(1), parser});
}

} // namespace

int main(int argc, char *argv[])
{
    umask(077); // what the program writes holds recipients
    QCoreApplication app(argc, argv);
    const int status = run(app.arguments());
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return status;
    printMessage(QStringLiteral("The result could not be written to standard output."));
    return status == Complete ? StorageFailure : status;
}
