#include "images/multistatus.h"

#include <QCoreApplication>
#include <QLocale>

#include <utility>

namespace {

struct MultistatusTexts
{
    Q_DECLARE_TR_FUNCTIONS(Multistatus)
};

// No honest answer has more of any of these.
constexpr qsizetype longestToken = 256LL * 1024;
constexpr qsizetype longestText = 16LL * 1024;
constexpr qsizetype deepest = 32;
constexpr qsizetype mostEntries = 1'000'000;
constexpr qsizetype longestPaths = 64LL * 1024 * 1024; ///< of all entries, in characters
constexpr qsizetype slice = 64LL * 1024;

/// "HTTP/1.1 200 OK" → 200.
int statusCode(const QString &line)
{
    return line.simplified().section(u' ', 1, 1).toInt();
}

} // namespace

bool pathBelow(const QUrl &root, const QString &href, QString &path)
{
    const QUrl url = root.resolved(QUrl(href.trimmed(), QUrl::TolerantMode));
    if (href.trimmed().isEmpty() || !url.isValid() || url.hasQuery() || url.hasFragment() ||
        url.host().compare(root.host(), Qt::CaseInsensitive) != 0)
        return false;
    QStringList wanted = root.path(QUrl::FullyEncoded).split(u'/', Qt::SkipEmptyParts);
    QStringList parts;
    // Part by part: an escaped slash belongs to a name, and no name holds one.
    const QStringList encoded = url.path(QUrl::FullyEncoded).split(u'/', Qt::SkipEmptyParts);
    for (const QString &part : encoded) {
        const QString decoded = QUrl::fromPercentEncoding(part.toUtf8());
        if (decoded == QLatin1String(".") || decoded == QLatin1String("..") ||
            decoded.contains(u'/') || decoded.contains(QChar::Null))
            return false;
        if (wanted.isEmpty())
            parts += decoded;
        else if (QUrl::fromPercentEncoding(wanted.takeFirst().toUtf8()) != decoded)
            return false;
    }
    path = parts.join(u'/');
    return wanted.isEmpty();
}

MultistatusReader::MultistatusReader(const QUrl &root)
    : m_root(root)
{
}

bool MultistatusReader::add(const QByteArray &bytes)
{
    // In slices, so that what one step takes in stays small.
    for (qsizetype at = 0; at < bytes.size() && m_fault.isEmpty(); at += slice) {
        const QByteArray piece = bytes.mid(at, slice);
        m_sinceToken += piece.size();
        m_xml.addData(piece);
        if (!readTokens())
            return false;
        if (m_sinceToken > longestToken)
            return refuse(MultistatusTexts::tr("слишком длинный элемент"));
    }
    return m_fault.isEmpty();
}

bool MultistatusReader::finish()
{
    if (!m_fault.isEmpty())
        return false;
    m_wasCut = !m_open.isEmpty() || !m_xml.isEndDocument();
    if (m_wasCut)
        return refuse(MultistatusTexts::tr("ответ оборван"));
    return true;
}

QString MultistatusReader::fault() const
{
    return m_fault;
}

bool MultistatusReader::wasCut() const
{
    return m_wasCut;
}

const QList<WebdavEntry> &MultistatusReader::entries() const
{
    return m_entries;
}

bool MultistatusReader::readTokens()
{
    while (!m_xml.atEnd()) {
        const QXmlStreamReader::TokenType token = m_xml.readNext();
        if (token == QXmlStreamReader::Invalid)
            break;
        m_sinceToken = 0;
        bool good = true;
        if (token == QXmlStreamReader::DTD || token == QXmlStreamReader::EntityReference)
            good = refuse(MultistatusTexts::tr("в ответе есть собственные типы"));
        else if (token == QXmlStreamReader::StartElement)
            good = openElement();
        else if (token == QXmlStreamReader::EndElement)
            good = closeElement();
        else if (token == QXmlStreamReader::Characters && m_text.size() <= longestText)
            m_text += m_xml.text();
        if (!good)
            return false;
    }
    if (m_xml.hasError() && m_xml.error() != QXmlStreamReader::PrematureEndOfDocumentError)
        return refuse(m_xml.errorString());
    return true;
}

bool MultistatusReader::openElement()
{
    const bool isDav = m_xml.namespaceUri() == QLatin1String("DAV:");
    const QString name = isDav ? m_xml.name().toString() : QString();
    if (m_open.isEmpty() && name != QLatin1String("multistatus"))
        return refuse(MultistatusTexts::tr("это не список файлов"));
    if (m_open.size() >= deepest)
        return refuse(MultistatusTexts::tr("слишком глубокая вложенность"));
    m_text.clear();
    if (name == QLatin1String("response")) {
        m_entry = {};
        m_href.clear();
        m_status = 0;
    } else if (name == QLatin1String("propstat")) {
        m_found = {};
        m_isGood = false;
    } else if (name == QLatin1String("collection") && m_open.contains(QLatin1String("propstat"))) {
        m_found.isCollection = true;
    }
    m_open += name;
    return true;
}

bool MultistatusReader::closeElement()
{
    const QString element = m_open.takeLast();
    const QString parent = m_open.isEmpty() ? QString() : m_open.last();
    if (m_text.size() > longestText)
        return refuse(MultistatusTexts::tr("слишком длинный элемент"));
    if (parent == QLatin1String("response") && element == QLatin1String("href")) {
        if (m_href.isEmpty())
            m_href = m_text;
    } else if (parent == QLatin1String("response") && element == QLatin1String("status")) {
        m_status = statusCode(m_text);
    } else if (parent == QLatin1String("propstat") && element == QLatin1String("status")) {
        m_isGood = statusCode(m_text) == 200;
    } else if (parent == QLatin1String("prop")) {
        return takeProperty(element);
    } else if (element == QLatin1String("propstat") && m_isGood) {
        if (m_found.lastModified.isValid())
            m_entry.lastModified = m_found.lastModified;
        if (m_found.contentLength >= 0)
            m_entry.contentLength = m_found.contentLength;
        m_entry.isCollection = m_entry.isCollection || m_found.isCollection;
    } else if (element == QLatin1String("response")) {
        return takeEntry();
    }
    return true;
}

bool MultistatusReader::takeProperty(const QString &element)
{
    if (element == QLatin1String("getlastmodified")) {
        m_found.lastModified = QLocale::c().toDateTime(
            m_text.trimmed(), QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"));
        m_found.lastModified.setTimeSpec(Qt::UTC);
    } else if (element == QLatin1String("getcontentlength")) {
        bool isNumber = false;
        m_found.contentLength = m_text.trimmed().toLongLong(&isNumber);
        if (!isNumber || m_found.contentLength < 0)
            m_found.contentLength = -1;
    }
    return true;
}

bool MultistatusReader::takeEntry()
{
    if (!pathBelow(m_root, m_href, m_entry.path))
        return refuse(MultistatusTexts::tr("имя вне папки: %1").arg(m_href.left(200)));
    m_pathLength += m_entry.path.size();
    if (m_entries.size() >= mostEntries || m_pathLength > longestPaths)
        return refuse(MultistatusTexts::tr("слишком много файлов"));
    if (m_status == 0 || m_status == 200)
        m_entries += std::exchange(m_entry, {});
    return true;
}

bool MultistatusReader::refuse(const QString &fault)
{
    m_fault = MultistatusTexts::tr("непонятный ответ сервера: %1").arg(fault);
    m_entries.clear();
    m_xml.clear();
    return false;
}
