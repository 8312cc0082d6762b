#include "sqltext.h"

QString quoted(const QString &value)
{
    QString inside = value;
    inside.remove(QChar::Null).replace(u'\'', QLatin1String("''"));
    return u'\'' + inside + u'\'';
}
