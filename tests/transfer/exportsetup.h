#pragma once

#include "desktopspreadsheet.h"
#include "fakes.h"
#include "keyset.h"
#include "recipientexport.h"
#include "testfolder.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <QXmlStreamReader>

#include <gsf/gsf-infile-zip.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-stdio.h>

class RecordingExportView final : public ExportView
{
public:
    void showStatus(const QString &text, qint64 count, qint64 total) override
    {
        statuses += text;
        QVERIFY(count <= total);
    }
    void setClipboard(const QString &text) override { clipboard = text; }

    QStringList statuses;
    QString clipboard;
};

inline const QStringList gridColumns = {
    QStringLiteral("email"), QStringLiteral("fname"),   QStringLiteral("lname"),
    QStringLiteral("title"), QStringLiteral("contact"), QStringLiteral("company"),
    QStringLiteral("memo"),  QStringLiteral("status"),  QStringLiteral("remark")};

struct Setup {
    Setup()
    {
        list = folder.addList(QStringLiteral("Members"),
                              {QStringLiteral("'a@a.example','Ann','O''Neil','Dr','0042','A,\"B'"),
                               QStringLiteral("b@a.example"), QStringLiteral("c@a.example"),
                               QStringLiteral("'d@a.example','Ünï','=1+1'")});
        folder.execute(QStringLiteral("update email set status='S' where email='b@a.example'"),
                       list);
        folder.execute(QStringLiteral("update email set status='F', remark='why' where "
                                      "email='c@a.example'"),
                       list);
    }

    ExportDestination file(const char *name = "out.csv", const char *separator = ",") const
    {
        ExportDestination destination;
        destination.path = folder.file(QLatin1String(name));
        destination.separator = QLatin1String(separator);
        if (destination.path.endsWith(QStringLiteral(".xlsx")))
            destination.kind = ExportDestination::Workbook;
        return destination;
    }
    QByteArray content(const char *name = "out.csv") const
    {
        QFile out(folder.file(QLatin1String(name)));
        return out.open(QIODevice::ReadOnly) ? out.readAll() : QByteArray("none");
    }
    /// What exports have left in the folder.
    QStringList leftOver() const
    {
        return QDir(folder.folder().path())
            .entryList({QStringLiteral("out*"), QStringLiteral(".*")}, QDir::Files | QDir::Hidden);
    }
    Keyset rows(const QString &columns) const
    {
        return Keyset(folder.folder().listConnectionString(list), columns,
                      QStringLiteral(" where email > 'a@b'"), QStringLiteral(" order by mid desc"),
                      1);
    }

    TestFolder folder;
    qint64 list = 0;
    DesktopSpreadsheet spreadsheet;
    ScriptedOperator op;
    RecordingExportView view;
    CountingYield yield;
    RecipientExport exporter{
        folder.folder(), spreadsheet, op, view, yield, std::chrono::milliseconds(0)};
};

inline QByteArray zipped(const QString &path, const char *folder, const char *name)
{
    GsfInput *file = gsf_input_stdio_new(QFile::encodeName(path).constData(), nullptr);
    GsfInfile *zip = gsf_infile_zip_new(file, nullptr);
    GsfInput *entry = gsf_infile_child_by_vname(zip, "xl", folder, name, nullptr);
    QByteArray bytes(qsizetype(gsf_input_size(entry)), '\0');
    gsf_input_read(entry, size_t(bytes.size()), reinterpret_cast<guint8 *>(bytes.data()));
    for (gpointer object : {gpointer(entry), gpointer(zip), gpointer(file)})
        g_object_unref(object);
    return bytes;
}

/// The rows of an .xlsx workbook: "A1=text" for each cell, all of which have to be text.
inline QStringList cells(const QString &path)
{
    QStringList rows;
    QXmlStreamReader xml(zipped(path, "worksheets", "sheet1.xml"));
    QStringList row;
    QString name;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && xml.name() == QLatin1String("c")) {
            name = xml.attributes().value(QLatin1String("r")).toString();
            if (xml.attributes().value(QLatin1String("t")) != QLatin1String("inlineStr"))
                name += QStringLiteral(" is no text");
        } else if (xml.isStartElement() && xml.name() == QLatin1String("t")) {
            row += name + QLatin1Char('=') + xml.readElementText();
        } else if (xml.isEndElement() && xml.name() == QLatin1String("row")) {
            rows += row.join(QLatin1Char('|'));
            row.clear();
        }
    }
    return xml.hasError() ? QStringList{xml.errorString()} : rows;
}
