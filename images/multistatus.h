#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QXmlStreamReader>

/// One resource that a WebDAV server has listed.
struct WebdavEntry
{
    QString path; ///< below the root of the share, decoded, without slashes at its ends
    QDateTime lastModified = {}; ///< UTC; invalid when it is not told
    qint64 contentLength = -1;   ///< -1: not told
    bool isCollection = false;
};

/// Reads a multistatus answer as it comes in. Answers of servers are not trusted: types of their
/// own, endless names and paths outside the share end it with an error.
class MultistatusReader
{
public:
    /// The share's root; paths are told from there.
    explicit MultistatusReader(const QUrl &root);

    /// Takes the next bytes. False when the answer is no good, which stays so.
    bool add(const QByteArray &bytes);

    /// To be called behind the last bytes: false when the answer is not whole.
    bool finish();

    /// Why it is no good.
    QString fault() const;

    /// Whether all that is wrong is that the end is missing.
    bool wasCut() const;

    const QList<WebdavEntry> &entries() const;

private:
    bool readTokens();
    bool openElement();
    bool closeElement();
    bool takeProperty(const QString &element);
    bool takeEntry();
    bool refuse(const QString &fault);

    QUrl m_root;
    QXmlStreamReader m_xml;
    QStringList m_open;    ///< elements that are open, those of another namespace as ""
    QString m_text;        ///< of the innermost element
    WebdavEntry m_entry;   ///< of the response that is open
    WebdavEntry m_found;   ///< by the propstat that is open
    bool m_isGood = false; ///< status of that propstat
    QString m_href;
    int m_status = 0; ///< of the response itself, 0: none
    QList<WebdavEntry> m_entries;
    qsizetype m_pathLength = 0; ///< of all entries
    QString m_fault;
    bool m_wasCut = false;
    qsizetype m_sinceToken = 0; ///< bytes that have not made up a token yet
};

/// The path of a resource below the root of a share, decoded. False when the reference, which may
/// be a path or a whole URL, leads out of it.
bool pathBelow(const QUrl &root, const QString &href, QString &path);
