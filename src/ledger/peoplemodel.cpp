#include "peoplemodel.h"

#include "connection.h"
#include "plaintooltip.h"

#include <QColor>
#include <QDateTime>

using namespace Qt::StringLiterals;

namespace
{

/// Lets the text be read on a light ground and on a dark one.
constexpr QColor trouble(218, 68, 83, 48);

QString cell(const Record &person, int column)
{
    const qint64 at = person.number(u"at"_s);
    switch (column) {
    case PeopleModel::Result:
        return PeopleModel::nameOf(reportedResult(person.text(u"result"_s)));
    case PeopleModel::Email:
        return person.text(u"address"_s);
    case PeopleModel::Name:
        return person.text(u"name"_s);
    case PeopleModel::Reason:
        return person.text(u"reason"_s);
    case PeopleModel::Time:
        return at == 0 ? QString()
                       : QDateTime::fromSecsSinceEpoch(at).toString(u"yyyy/MM/dd HH:mm:ss"_s);
    case PeopleModel::Run:
        return person.number(u"run"_s) == 0 ? QString() : person.text(u"run"_s);
    case PeopleModel::Reply:
        return person.text(u"reply"_s);
    default:
        return person.text(u"messageid"_s);
    }
}

} // namespace

PeopleModel::PeopleModel(QObject *parent)
    : KeysetModel(parent)
    , m_icons{QIcon::fromTheme(u"dialog-ok-apply"_s), QIcon::fromTheme(u"dialog-error"_s),
              QIcon::fromTheme(u"dialog-question"_s), QIcon::fromTheme(u"mail-unread"_s),
              QIcon::fromTheme(u"list-remove"_s)}
{
}

void PeopleModel::load(const QString &listConnectionString, const ReportScope &scope,
                       const std::vector<ReportedResult> &only)
{
    open([&] {
        Connection list(listConnectionString);
        return std::make_unique<Keyset>(listConnectionString, scope.from(list, only),
                                        ReportScope::columns(), QString(), QString(), firstKeys);
    });
}

int PeopleModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : MessageId + 1;
}

QVariant PeopleModel::data(const QModelIndex &index, int role) const
{
    const bool isText = role == Qt::DisplayRole || role == Qt::ToolTipRole;
    if (!index.isValid() ||
        (!isText && role != Qt::BackgroundRole && (role != Qt::DecorationRole || index.column())))
        return {};
    try {
        const Record *person = m_rows->row(index.row());
        if (!person)
            return {};
        const ReportedResult result = reportedResult(person->text(u"result"_s));
        if (role == Qt::DecorationRole)
            return m_icons[size_t(result)];
        if (role == Qt::BackgroundRole)
            return result == ReportedResult::Failed || result == ReportedResult::InDoubt
                       ? QVariant(trouble)
                       : QVariant();
        const QString text = cell(*person, index.column());
        if (role == Qt::ToolTipRole)
            return plainToolTip(text);
        // A reply has lines, a row of the grid has one.
        return text.simplified();
    } catch (const StorageError &e) {
        fail(e);
    }
    return {};
}

QVariant PeopleModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return KeysetModel::headerData(section, orientation, role);
    return QStringList{tr("Result"), tr("Email"), tr("Name"),           tr("Reason"),
                       tr("Time"),   tr("Run"),   tr("Server's reply"), tr("Message-ID")}
        .value(section);
}

QString PeopleModel::nameOf(ReportedResult result)
{
    return QStringList{tr("Sent"), tr("Failed"), tr("In doubt"), tr("Unsent"), tr("Removed")}.value(
        int(result));
}
