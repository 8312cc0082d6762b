#include "listcount.h"

#include "connection.h"
#include "programfolder.h"

qint64 storeRecipientCount(const ProgramFolder &folder, qint64 listId)
{
    Connection list(folder.listConnectionString(listId));
    const qint64 count = list.number(QStringLiteral("select count(*) from email"));
    Connection system(folder.systemConnectionString());
    system.execute(
        QStringLiteral("update mlist set update_time=date(), rec_count=%1 where listid =%2")
            .arg(count)
            .arg(listId));
    return count;
}
