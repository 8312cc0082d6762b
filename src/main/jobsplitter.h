#pragma once

#include <QSplitter>

/// The splitter between the job list and the lower area. Its bar `Picture2` is black while it is
/// dragged; the areas follow when it is released, and either may be closed altogether.
class JobSplitter final : public QSplitter
{
    Q_OBJECT

public:
    explicit JobSplitter(QWidget *parent = nullptr);

protected:
    QSplitterHandle *createHandle() override;
};
