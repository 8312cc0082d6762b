#pragma once

#include "testfiles.h"
#include "testfolder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

struct Finished {
    int status = -1;
    QString output;
    QString messages;
};

/// The console as a person or a script runs it: a process of its own on a program folder.
class ConsoleProcess
{
public:
    /// Blanks part the arguments of a line.
    static QStringList words(const QString &line)
    {
        return line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    }
    void start(QProcess &process, const QString &line) const
    {
        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        variables.insert(QStringLiteral("XDG_CONFIG_HOME"), folder.file("config"));
        if (!temporaryFolder.isEmpty())
            variables.insert(QStringLiteral("TMPDIR"), temporaryFolder);
        process.setProcessEnvironment(variables);
        process.setWorkingDirectory(folder.folder().path());
        process.start(QStringLiteral(CONSOLE),
                      QStringList{QStringLiteral("--folder"), folder.folder().path()} +
                          words(line));
        process.closeWriteChannel();
        QVERIFY(process.waitForStarted());
    }
    Finished run(const QString &line) const
    {
        QProcess process;
        start(process, line);
        process.waitForFinished(-1);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }
    /// What a listing is with "--json".
    QJsonArray json(const QString &command) const
    {
        const Finished done = run(command + QStringLiteral(" --json"));
        return QJsonDocument::fromJson(done.output.toUtf8()).array();
    }

    TestFolder folder;
    QString temporaryFolder;
};
