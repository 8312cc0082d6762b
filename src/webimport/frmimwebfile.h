#pragma once

#include "dialogs.h"
#include "webfetch.h"

#include <QString>

#include <memory>
#include <optional>

class Operator;

namespace Ui
{
class frmImWebFile;
}

/// The web import window: fetches one document from a typed address. It is made once and hidden
/// between uses; the address box keeps what was typed.
class frmImWebFile final : public WorkDialog
{
    Q_OBJECT

public:
    /// Both must outlive the window.
    frmImWebFile(WebFetch &fetch, Operator &op, QWidget *parent = nullptr);
    ~frmImWebFile() override;

    /// Shows the window until a document was imported; no value when it was left without.
    std::optional<QString> importDocument();

protected:
    void abortWork() override { m_fetch.abort(); }

private:
    void import();
    void tellFailure(const QString &failure);
    void setFetching(bool isFetching);

    std::unique_ptr<Ui::frmImWebFile> m_ui;
    WebFetch &m_fetch;
    Operator &m_op;
    QString m_document;
};
