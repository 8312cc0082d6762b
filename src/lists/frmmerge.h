#pragma once

#include "dialogs.h"
#include "listcatalogue.h"
#include "listcopy.h"

#include <memory>

namespace Ui
{
class frmMerge;
}

/// The windows that copy the recipients of ticked lists into one list: a new one (merge), or one
/// that is there (append). Each is made once and hidden between uses.
class frmMerge final : public WorkDialog, private ListCopyView
{
    Q_OBJECT

public:
    enum class Kind { Merge, Append };

    /// `folder`, `op` and `yield` must outlive the window.
    frmMerge(Kind kind, const ProgramFolder &folder, Operator &op, Yield &yield,
             QWidget *parent = nullptr);
    ~frmMerge() override;

    /// A list as the window shows it: "3-Members".
    static QString entry(const MailList &list);

    /// Offers all lists and shows the window. `target`: the entry of the list to append to. True
    /// when a copy went to its end.
    bool run(const QString &target = {});

protected:
    void abortWork() override { m_copy.abort(); }

private:
    void focusFirst();
    void showLog(bool isShown);
    void list_refresh();
    std::vector<ListCopy::Source> tickedLists() const;
    void copy();
    void setRunning(bool isRunning);

    void clearLog() override;
    void appendLog(const QString &text) override;
    void showStatus(const QString &text) override;
    void showCount(const QString &text) override;
    void showWaiting(bool waiting) override;

    std::unique_ptr<Ui::frmMerge> m_ui;
    const Kind m_kind;
    ListCatalogue m_catalogue;
    Operator &m_op;
    ListCopy m_copy;
    bool m_isComplete = false;
};
