#include "widgets/csvfile.h"

#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <utility>

CsvFile::CsvFile(const QString &path, CsvFormat format)
    : m_file(path),
      m_format(std::move(format))
{
}

bool CsvFile::open()
{
    return m_file.open(QIODevice::WriteOnly) &&
           (!m_format.byteOrderMark || m_file.write("\xEF\xBB\xBF") == 3);
}

bool CsvFile::write(const QVariantList &values)
{
    QStringList fields;
    for (const QVariant &value : values)
        fields += field(value);
    const QByteArray line = (fields.join(m_format.separator) + QStringLiteral("\r\n")).toUtf8();
    return m_file.write(line) == line.size();
}

bool CsvFile::commit()
{
    // commit() alone does not notice that the last of the buffer found no room.
    return m_file.flush() && m_file.commit();
}

QString CsvFile::errorText() const
{
    return m_file.errorString();
}

QString CsvFile::field(const QVariant &value) const
{
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
        return quoted(QString::number(value.toDouble(), 'f', QLocale::FloatingPointShortest)
                          .replace(u'.', m_format.decimalSign));
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return value.toString();
    default:
        break;
    }
    const QString text = value.toString();
    const bool isFormula =
        !text.isEmpty() && QStringLiteral("=+-@\t\r\n＝＋－＠").contains(text.front());
    return quoted(isFormula ? u'\'' + text : text);
}

/// Quoted where it must be: for its signs, or for blanks at its ends, which some readers drop.
QString CsvFile::quoted(const QString &text) const
{
    const auto mustBeQuoted = [sign = m_format.separator.trimmed()](QChar c) {
        return c == u'"' || c == u'\r' || c == u'\n' || sign.contains(c);
    };
    const bool isPlain = text.trimmed().size() == text.size() &&
                         std::none_of(text.begin(), text.end(), mustBeQuoted);
    return isPlain ? text : u'"' + QString(text).replace(u'"', QStringLiteral("\"\"")) + u'"';
}
