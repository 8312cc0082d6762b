#pragma once

#include "keysetmodel.h"
#include "report.h"

#include <QIcon>

#include <array>

/// The people of a report for a grid. Whoever failed or is in doubt stands out.
class PeopleModel final : public KeysetModel
{
    Q_OBJECT

public:
    enum Column { Result, Email, Name, Reason, Time, Run, Reply, MessageId };

    explicit PeopleModel(QObject *parent = nullptr);

    /// Throws StorageError, and then holds no rows.
    void load(const QString &listConnectionString, const ReportScope &scope,
              const std::vector<ReportedResult> &only);

    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    /// "Sent", "In doubt" ...
    static QString nameOf(ReportedResult result);

private:
    std::array<QIcon, 5> m_icons; ///< by ReportedResult
};
