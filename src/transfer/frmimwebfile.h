#pragma once

#include <QDialog>

#include <memory>
#include <optional>

class Operator;
class WebFetch;

namespace Ui
{
class frmImWebFile;
}

/// The web import window: fetches one document from a typed address. It is made once and hidden
/// between uses; the address box keeps what was typed.
class frmImWebFile final : public QDialog
{
    Q_OBJECT

public:
    /// Both must outlive the window.
    frmImWebFile(WebFetch &fetch, Operator &op, QWidget *parent = nullptr);
    ~frmImWebFile() override;

    /// Shows the window until a document was imported; no value when it was left without.
    std::optional<QString> importDocument();

    /// During a fetch it ends that first.
    void reject() override;

private:
    void import();
    void setFetching(bool isFetching);

    std::unique_ptr<Ui::frmImWebFile> m_ui;
    WebFetch &m_fetch;
    Operator &m_op;
    QString m_document;
    bool m_isLeft = false; ///< during the fetch
};
