// quillbright-console: the program without a window, for servers, cron and tests.

#include "commands.h"
#include "terminal.h"

#include "programfolder.h"
#include "runrecord.h"

#include <CLI/CLI.hpp>

#include <QCoreApplication>

#include <sys/stat.h>

#include <cstdio>
#include <limits>
#include <map>

namespace
{

using Action = std::function<ExitStatus(const ProgramFolder &folder)>;

/// What the command line says.
struct Words {
    std::string folder;
    std::string target; ///< the job, list or message
    std::string file;
    std::string address;
    std::string separator = ",";
    std::string filter;
    bool json = false;
    std::string outcome;
    std::string before;
    qint64 run = 0;
    StartOptions start;

    ExportFilter exportFilter() const
    {
        return filter == "success" ? ExportFilter::Success
               : filter == "fail"  ? ExportFilter::Fail
                                   : ExportFilter::All;
    }
};

QString text(const std::string &word)
{
    return QString::fromStdString(word);
}

/// What tells of the accounts of runs. `add` makes a command.
template <typename Add>
void addLedgerCommands(const Add &add, Words &words)
{
    const auto target = [&](CLI::App *to, const char *name, bool isNeeded) {
        to->add_option(name, words.target, "Its number or name")
            ->required(isNeeded)
            ->option_text(" ");
    };
    CLI::App *runs = add("runs", "List the runs of a job, or of all", [&](const ProgramFolder &f) {
        return listRuns(f, text(words.target), words.json);
    });
    target(runs, "JOB", false);
    runs->add_flag("--json", words.json, "Print JSON");

    CLI::App *report =
        add("report", "Tell what became of everybody in a job's last series, or in a run",
            [&](const ProgramFolder &f) {
                return reportJob(f, text(words.target),
                                 {words.run, text(words.outcome), text(words.file), words.json});
            });
    target(report, "JOB", true);
    report->add_option("--run", words.run, "A run on the job's list, by the number in \"runs\"")
        ->option_text("N")
        ->check(CLI::PositiveNumber);
    report->add_option("--outcome", words.outcome, "Those with this result only")
        ->option_text("sent|failed|doubt|unsent")
        ->check(CLI::IsMember({"sent", "failed", "doubt", "unsent"}));
    CLI::Option *asJson = report->add_flag("--json", words.json, "Print JSON");
    report->add_option("--csv", words.file, "Write comma-separated values to FILE")
        ->option_text("FILE")
        ->excludes(asJson);

    target(add("verify", "Check that the accounts of a list, or of all, agree with everything",
               [&](const ProgramFolder &f) { return verifyLists(f, text(words.target)); }),
           "LIST", false);

    CLI::App *forget =
        add("forget", "Blank the addresses, reasons and replies in the accounts of old runs",
            [&](const ProgramFolder &f) {
                return forgetRuns(f, text(words.before), text(words.target));
            });
    forget->add_option("--before", words.before, "Of the runs that began before this day")
        ->required()
        ->option_text("DATE");
    target(forget, "LIST", false);
}

/// The command that is given sets `chosen`.
void addCommands(CLI::App &app, Words &words, Action &chosen)
{
    const auto command = [&](const char *name, const char *purpose, const Action &action) {
        CLI::App *added = app.add_subcommand(name, purpose)->group("Commands");
        added->callback([&chosen, action] { chosen = action; });
        return added;
    };
    const auto word = [](CLI::App *to, const char *name, std::string &value, const char *meaning) {
        to->add_option(name, value, meaning)->required()->option_text(" ");
    };
    const auto json = [&](CLI::App *to) { to->add_flag("--json", words.json, "Print JSON"); };
    const auto job = [&](CLI::App *to) { word(to, "JOB", words.target, "Its number or name"); };
    const auto list = [&](CLI::App *to) { word(to, "LIST", words.target, "Its number or name"); };
    const auto filter = [&](CLI::App *to) {
        to->add_option("--filter", words.filter,
                       "All recipients, those that have not failed, or those that have")
            ->option_text("all|success|fail")
            ->check(CLI::IsMember({"all", "success", "fail"}));
    };

    const CLI::Range wholeNumber(0, std::numeric_limits<int>::max());

    json(command("jobs", "List the jobs",
                 [&](const ProgramFolder &f) { return listJobs(f, words.json); }));

    CLI::App *start = command(
        "start", "Send a job; a paused one goes on after the last recipient handled",
        [&](const ProgramFolder &f) { return startJob(f, text(words.target), words.start); });
    job(start);
    start->add_flag("--resend-failed", words.start.failedOnly,
                    "Send to the failed recipients only");
    const auto number = [&](const char *name, int &value, const char *unit, const char *meaning) {
        start->add_option(name, value, meaning)->option_text(unit)->check(wholeNumber);
    };
    number("--rerun", words.start.reruns, "N",
           "Without a terminal to ask on, rerun over failures N more times");
    number("--batch-pause", words.start.batchPauseMs, "MS",
           "Wait after every 50 recipients; default: 1000");
    number("--rerun-wait", words.start.rerunWaitMinutes, "MIN",
           "Wait before failures are sent to again; default: as the options say");
    number("--patience", words.start.patienceSeconds, "S",
           "How long a server that takes nothing is tried again before the job is paused");
    start
        ->add_option("--in-doubt", words.start.resendInDoubt,
                     "Leave out, or send again, whoever may have got the message; default: skip")
        ->option_text("skip|send")
        ->transform(
            CLI::CheckedTransformer(std::map<std::string, bool>{{"skip", false}, {"send", true}}));
    start->add_flag("--changed", words.start.changed,
                    "Go on although the message is not what the first recipients got");
    start->add_flag("--no-catch", words.start.noCatch,
                    "Go on however many recipients the server refuses");

    job(command("reset", "Forget what became of a job's recipients",
                [&](const ProgramFolder &f) { return resetJob(f, text(words.target)); }));

    addLedgerCommands(command, words);

    json(command("lists", "List the mail lists",
                 [&](const ProgramFolder &f) { return listMailLists(f, words.json); }));

    CLI::App *recipients =
        command("recipients", "List a mail list's recipients, and what became of each",
                [&](const ProgramFolder &f) {
                    return listRecipients(f, text(words.target), words.exportFilter(), words.json);
                });
    list(recipients);
    filter(recipients);
    json(recipients);

    CLI::App *import = command("import", "Add recipients from delimited text or an .xls workbook",
                               [&](const ProgramFolder &f) {
                                   return importList(f, text(words.target), text(words.file),
                                                     text(words.separator));
                               });
    list(import);
    word(import, "FILE", words.file, "What to read");
    import->add_option("--separator", words.separator, "What parts fields, or TAB; default: ,")
        ->option_text("S");

    CLI::App *exporting = command(
        "export", "Write recipients to delimited text, or to a workbook where FILE ends in .xlsx",
        [&](const ProgramFolder &f) {
            return exportList(f, text(words.target), text(words.file), words.exportFilter());
        });
    list(exporting);
    word(exporting, "FILE", words.file, "What to write");
    filter(exporting);

    json(command("messages", "List the messages",
                 [&](const ProgramFolder &f) { return listMessages(f, words.json); }));

    CLI::App *test =
        command("test-send", "Send a message to one address", [&](const ProgramFolder &f) {
            return testSend(f, text(words.target), text(words.address));
        });
    word(test, "MESSAGE", words.target, "Its number or subject");
    word(test, "ADDRESS", words.address, "Who gets it");
}

/// The error, and the usage of the command that it was made in.
std::string wrongUsage(const CLI::App *app, const CLI::Error &error)
{
    std::string why = error.what();
    if (app->get_subcommands().empty() && error.get_name() == "RequiredError")
        why = app->remaining_size() == 0 ? "A command is required"
                                         : "There is no command " + app->remaining().front();
    if (error.get_name() == "ArgumentMismatch")
        why = why.substr(0, why.find(':')) + " needs a value";
    const std::string help = app->help();
    return why + "\n" + help.substr(help.find("Usage:"));
}

ExitStatus run(int argc, char *argv[])
{
    CLI::App app("Quillbright without its window: for servers, cron and scripts.",
                 "quillbright-console");
    Words words;
    Action action;
    app.require_subcommand(1)->fallthrough();
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.failure_message(wrongUsage);
    app.set_version_flag("--version", "Quillbright " QUILLBRIGHT_VERSION);
    app.add_option("--folder", words.folder,
                   "The program folder; default: the folder of this program")
        ->option_text("DIR")
        ->check([](const std::string &given) { return given.empty() ? "names no folder" : ""; });
    addCommands(app, words, action);
    app.footer("Exit status: 0 complete, 1 complete with failures, 2 wrong usage, 3 paused or\n"
               "interrupted, 4 refused to start, 5 storage error.");
    try {
        app.parse(argc, argv);
        return action(words.folder.empty() ? ProgramFolder::ofExecutable()
                                           : ProgramFolder(text(words.folder)));
    } catch (const CLI::ParseError &e) {
        return app.exit(e) == 0 ? Complete : WrongUsage;
    } catch (const Refusal &e) {
        printMessage(e.why);
        return Refused;
    } catch (const ListInUse &e) {
        printMessage(e.description());
        return Refused;
    } catch (const StorageError &e) {
        printMessage(e.report());
        return StorageFailure;
    }
}

} // namespace

int main(int argc, char *argv[])
{
    umask(077); // what the program writes holds recipients
    const QCoreApplication application(argc, argv);
    const int status = run(argc, argv);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return status;
    printMessage(QStringLiteral("The result could not be written to standard output."));
    return status == Complete ? StorageFailure : status;
}
