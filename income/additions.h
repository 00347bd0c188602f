#pragma once

#include <QCoreApplication>
#include <QList>
#include <QString>

#include <optional>
#include <utility>

#include "db/transaction.h"

class QWidget;

/// One line of the working list; prices in the main currency.
struct ReceiptLine
{
    qulonglong id = 0;
    double quantity = 0;
    double incost = 0;
    double inoutratio = 0;
    double outcost = 0;
    qulonglong userid = 0;
    QString timestamp = {};

    bool operator==(const ReceiptLine &) const = default;
};

/// What one entry has changed in the working list and in its product.
struct Addition
{
    using Change = std::optional<std::pair<QString, QString>>; ///< from, to

    qulonglong wareid = 0;
    QString name = {};
    QList<ReceiptLine> before = {}; ///< the product's lines
    QList<ReceiptLine> after = {};  ///< empty: another station was there, it cannot be taken back
    qulonglong insertedId = 0;      ///< of the line that the entry has added; 0: none
    Change expiry = {};             ///< warehouse.expiretime
    Change audit = {};              ///< warehouse.latime
};

/// The additions of this run, to be taken back one after another, the last one first.
class Additions
{
    Q_DECLARE_TR_FUNCTIONS(Additions)

public:
    /// How taking back ended; text is for the status line.
    struct Result
    {
        bool done = false;
        qulonglong wareid = 0;
        QString text = {};
    };

    void add(const Addition &addition);

    /// Forgets all of them: they were posted.
    void clear();

    bool isEmpty() const;

    /// Undoes the last addition in one transaction, unless another station has changed its lines
    /// since; then it is only forgotten. A failure of the database is shown over the parent, and
    /// the addition can be tried again.
    Result takeBack(QWidget *parent);

    /// The SELECT of a product's lines without a semicolon, and what its rows say.
    static QString linesQuery(qulonglong wareid);
    static QList<ReceiptLine> linesOf(const QList<SqlRow> &rows);

private:
    TransactionStep tryUndo(const Addition &addition);
    static bool restore(const Addition &addition);
    static bool restoreColumn(const Addition &addition, const QString &column,
                              const Addition::Change &change);

    QList<Addition> m_additions;
    bool m_inDoubt = false; ///< whether the last one is taken back
};
