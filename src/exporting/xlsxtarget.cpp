#include "xlsxtarget.h"

#include "storageerror.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QUuid>

#include <gsf/gsf-infile-zip.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-stdio.h>
#include <sys/stat.h>
#include <xlsxwriter.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

namespace
{

constexpr qsizetype longestCell = 32'767;

/// "_x0041_" in a cell stands for the character of that number; meant as a text it begins with the
/// number of "_".
QString escaped(const QString &text)
{
    static const QRegularExpression number(QStringLiteral("_(?=x[0-9A-Fa-f]{4}_)"));
    return QString(text).replace(number, QStringLiteral("_x005F_"));
}

/// How many characters of the text a cell takes: as many as it holds, and in the form in which they
/// are written no more than the library lets through.
qsizetype fitting(const QString &text)
{
    qsizetype length = std::min(text.size(), longestCell);
    for (;;) {
        if (length < text.size() && text[length - 1].isHighSurrogate())
            --length;
        const qsizetype excess = escaped(text.first(length)).size() - longestCell;
        if (excess <= 0)
            return length;
        length -= (excess + 6) / 7; // an escape has six characters more than what it stands for
    }
}

/// The value as a cell can hold it: without NULs and what is no character, and not too long.
QByteArray cellText(const std::string &value, qint64 &cut)
{
    QByteArray utf8 = QByteArray::fromStdString(value);
    // Nearly all values: nothing to change, and no more bytes than a cell holds characters.
    if (utf8.size() < longestCell && !utf8.contains('\0') && !utf8.contains('\xef') &&
        !utf8.contains("_x") && utf8.isValidUtf8()) {
        return utf8;
    }
    QString text = QString::fromUtf8(utf8);
    text.remove(QChar());
    for (const char16_t noCharacter : {u'\xfffe', u'\xffff'})
        text.replace(QChar(noCharacter), QChar(QChar::ReplacementCharacter));
    if (const qsizetype length = fitting(text); length < text.size()) {
        ++cut;
        text.truncate(length);
    }
    return escaped(text).toUtf8();
}

/// How many bytes the sheet of a finished workbook has.
gsf_off_t sheetSize(const QString &path)
{
    gsf_off_t size = 0;
    GsfInput *file = gsf_input_stdio_new(QFile::encodeName(path).constData(), nullptr);
    GsfInfile *zip = file ? gsf_infile_zip_new(file, nullptr) : nullptr;
    GsfInput *sheet =
        zip ? gsf_infile_child_by_vname(zip, "xl", "worksheets", "sheet1.xml", nullptr) : nullptr;
    if (sheet)
        size = gsf_input_size(sheet);
    for (gpointer object : {gpointer(sheet), gpointer(zip), gpointer(file)}) {
        if (object)
            g_object_unref(object);
    }
    return size;
}

/// Whether the handle is still that of this file, which has no name any more: an error that comes
/// early makes the library forget its file of rows instead of closing it.
bool isOpen(int handle, const struct stat &file)
{
    struct stat now = {};
    return fstat(handle, &now) == 0 && now.st_nlink == 0 && now.st_ino == file.st_ino &&
           now.st_dev == file.st_dev;
}

QString reason(lxw_error error)
{
    return QString::fromUtf8(errno == ENOSPC ? std::strerror(errno) : lxw_strerror(error));
}

} // namespace

XlsxTarget::XlsxTarget(const QString &path, const QStringList &headings)
    : m_path(path)
    , m_file(QFileInfo::exists(path) ? QFileInfo(path).canonicalFilePath() : path)
    // The name itself may be as long as names can be.
    , m_temporaryPath(m_file.absoluteDir().filePath(QStringLiteral(".quillbright-") +
                                                    QUuid::createUuid().toString(QUuid::Id128)))
{
    if (isNoFile(m_file.filePath()))
        cannotWrite(m_path, QStringLiteral("it is not a file."));
    if (m_file.exists() && !m_file.isWritable())
        cannotWrite(m_path, QStringLiteral("it may not be written to."));
    if (m_file.isSymLink())
        cannotWrite(m_path, QStringLiteral("it is a link to a file that does not exist."));
    // The library writes the file when all is over; better to know at once that it cannot.
    if (QFile file(m_temporaryPath); !file.open(QIODevice::WriteOnly))
        cannotWrite(m_path, file.errorString());
    // Before the recipients are in it.
    if (m_file.exists())
        QFile::setPermissions(m_temporaryPath, m_file.permissions());

    lxw_workbook_options options = {};
    options.constant_memory = LXW_TRUE;
    m_workbook = workbook_new_opt(QFile::encodeName(m_temporaryPath).constData(), &options);
    m_sheet = m_workbook ? workbook_add_worksheet(m_workbook, nullptr) : nullptr;
    std::vector<std::string> cells;
    for (const QString &heading : headings)
        cells.push_back(heading.toStdString());
    try {
        checkTemporaryFile();
        write(cells);
    } catch (const StorageError &) {
        discard();
        throw;
    }
}

void XlsxTarget::expect(qint64 records)
{
    constexpr qint64 most = LXW_ROW_MAX - 1; // the headings take a row
    if (records > most)
        cannotWrite(m_path, QStringLiteral("a workbook holds at most %1 records.").arg(most));
}

void XlsxTarget::write(std::span<const std::string> fields)
{
    expect(m_rows);
    lxw_col_t column = 0;
    for (const std::string &field : fields) {
        if (!field.empty())
            worksheet_write_string(m_sheet, m_rows, column, cellText(field, m_cut).constData(),
                                   nullptr);
        ++column;
    }
    ++m_rows;
    constexpr unsigned rowsPerCheck = 1000;
    if (m_rows % rowsPerCheck == 0)
        checkTemporaryFile();
}

void XlsxTarget::finish()
{
    checkTemporaryFile();
    std::FILE *rows = m_sheet->optimize_tmpfile;
    const long rowBytes = std::ftell(rows);
    struct stat rowsFile = {};
    const int rowsHandle = fileno(rows);
    fstat(rowsHandle, &rowsFile);
    errno = 0;
    const lxw_error error = workbook_close(std::exchange(m_workbook, nullptr));
    if (error != LXW_NO_ERROR) {
        const QString why = reason(error);
        if (isOpen(rowsHandle, rowsFile))
            std::fclose(rows);
        cannotWrite(m_path, why);
    }
    // The library copies the rows once more without looking whether the disk took them.
    if (sheetSize(m_temporaryPath) < rowBytes)
        cannotWrite(m_path, QStringLiteral("the disk for temporary files is full."));
    if (std::rename(QFile::encodeName(m_temporaryPath).constData(),
                    QFile::encodeName(m_file.filePath()).constData()) != 0) {
        cannotWrite(m_path, QString::fromLocal8Bit(std::strerror(errno)));
    }
}

QString XlsxTarget::remark() const
{
    if (m_cut == 0)
        return {};
    return QStringLiteral("A cell holds %1 characters: %2 longer values were cut.")
        .arg(longestCell)
        .arg(m_cut);
}

void XlsxTarget::checkTemporaryFile()
{
    std::FILE *rows = m_sheet ? m_sheet->optimize_tmpfile : nullptr;
    if (!rows || std::fflush(rows) != 0 || std::ferror(rows))
        cannotWrite(m_path, QStringLiteral(
                                "the disk for temporary files is full or cannot be written to."));
}

void XlsxTarget::discard()
{
    if (m_workbook) {
        // The library would leave it open, and its place on the disk taken.
        if (m_sheet && m_sheet->optimize_tmpfile)
            std::fclose(m_sheet->optimize_tmpfile);
        lxw_workbook_free(m_workbook);
    }
    m_workbook = nullptr;
    QFile::remove(m_temporaryPath);
}
