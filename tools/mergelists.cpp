// quillbright-mergelists FOLDER TARGET LIST...: appends lists to a list as the window does, but
// shows nothing. For measuring.

#include "listcopy.h"
#include "operator.h"
#include "programfolder.h"
#include "yield.h"

#include <QCoreApplication>

#include <iostream>

namespace
{

class StderrOperator final : public Operator
{
public:
    void tell(const QString &text, const QString &) override
    {
        std::cerr << text.toStdString() << '\n';
    }
    bool ask(const QString &, const QString &) override { return false; }
    QString inputPassword(const QString &, const QString &) override { return {}; }
    QString openFile(const QString &, const QString &, const QString &) override { return {}; }
    QString saveFile(const QString &, const QString &, const QString &) override { return {}; }
};

class SilentView final : public ListCopyView
{
public:
    void clearLog() override {}
    void appendLog(const QString &) override {}
    void showStatus(const QString &) override {}
    void showCount(const QString &) override {}
    void showWaiting(bool) override {}
};

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    const QStringList words = app.arguments();
    if (words.size() < 4) {
        std::cerr << "usage: quillbright-mergelists FOLDER TARGET LIST...\n";
        return 2;
    }
    std::vector<ListCopy::Source> sources;
    for (const QString &list : words.mid(3))
        sources.push_back({list.toLongLong(), list});
    const ProgramFolder folder(words[1]);
    StderrOperator op;
    SilentView view;
    EventLoopYield yield;
    ListCopy copy(folder, op, view, yield);
    return copy.append(sources, words[2].toLongLong()) == ListCopy::Result::Complete ? 0 : 1;
}
