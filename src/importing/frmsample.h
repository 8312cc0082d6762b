#pragma once

#include <QDialog>

#include <memory>

namespace Ui
{
class frmSample;
}

/// Shows what a text file of recipients looks like.
class frmSample final : public QDialog
{
    Q_OBJECT

public:
    explicit frmSample(QWidget *parent = nullptr);
    ~frmSample() override;

private:
    std::unique_ptr<Ui::frmSample> m_ui;
};
