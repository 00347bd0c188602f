#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

class QWidget;

/// A scanned code that did not end up in the receipt.
struct MissedCode
{
    QString code;
    QString reason;    ///< why, for the user
    QDateTime since;   ///< first scan, local time
    int times = 0;     ///< how often it was scanned
    bool whole = true; ///< a code to be looked up; not the rest of one, nor one that may be placed
};

/// The codes of this run that could not be placed, in the order of their first scan.
class MissedCodes
{
public:
    /// Notes a scan, as a code of its own or as one more of a code that is here.
    void add(const QString &code, const QString &reason, bool whole = true);

    void remove(const QString &code);

    const QList<MissedCode> &all() const;
    bool isEmpty() const;

private:
    QList<MissedCode> m_codes;
};

/// What giving a code to a product came to.
enum class BindResult {
    Bound,
    Taken,  ///< another product has the code by now; told
    Failed, ///< the statement failed; told
};

/// Writes a row of `codes`: the code stands for so many units of the product. What goes wrong is
/// told over the parent.
BindResult bindCode(QWidget *parent, const QString &code, qulonglong wareid, double packQuantity);
