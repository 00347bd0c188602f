#pragma once

#include <QSaveFile>
#include <QString>
#include <QVariantList>

/// How a CSV file is written.
struct CsvFormat
{
    QString separator = QStringLiteral(";");
    bool byteOrderMark = true; ///< by which spreadsheets know UTF-8
    QChar decimalSign = u',';
};

/// A CSV file that comes to be whole or not at all. Texts that a spreadsheet would take for a
/// formula get an apostrophe in front; those that hold quotes, breaks or the separator are quoted.
class CsvFile
{
public:
    explicit CsvFile(const QString &path, CsvFormat format = {});

    /// Begins the file. False when it cannot be made; so is what follows.
    bool open();

    /// Writes a row. Doubles are written as numbers, with all their digits; whole numbers too.
    /// Anything else is text.
    bool write(const QVariantList &values);

    /// Puts the file in its place. False when it could not be written to its end: then a former
    /// file of this name is left as it was.
    bool commit();

    /// What the system says about a failure.
    QString errorText() const;

private:
    QString field(const QVariant &value) const;
    QString quoted(const QString &text) const;

    QSaveFile m_file;
    CsvFormat m_format;
};
