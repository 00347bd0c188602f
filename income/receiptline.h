#pragma once

#include <QCoreApplication>
#include <QList>
#include <QString>

#include <optional>

#include "db/query.h"

class QWidget;

/// Why the entry of a product is opened.
struct ReceiptRequest
{
    qulonglong wareid = 0;
    double addedQuantity = 1;  ///< units to add: pack quantity times multiplier
    qulonglong lineId = 0;     ///< the receipt line meant; 0: the product's first line, if any
    bool editLine = false;     ///< opened on the line itself: nothing is added
    bool startInPrice = false; ///< begin in the purchase price instead of the quantity
};

/// What the entry shows of a product.
struct ReceiptProduct
{
    qulonglong id = 0;
    QString wuid;
    QString article;
    QString name;
    QString unit;
    int decimals = 0; ///< of a quantity in this unit
    QString currency;
    double inoutratio = 0;
    double outcost = 0;
    double stock = 0;
    QString expiretime; ///< as stored: "yyyy-MM-dd", empty for none
};

/// One line of the working list; prices in the main currency.
struct ReceiptLine
{
    qulonglong id = 0;
    double quantity = 0;
    double incost = 0;
    double inoutratio = 0;
    double outcost = 0;
};

/// What the user entered; prices in the main currency.
struct ReceiptInput
{
    double quantity = 0; ///< of the whole line
    double incost = 0;
    double inoutratio = 0; ///< 0: the selling price is fixed by hand
    double outcost = 0;
    QString expiretime = {}; ///< "yyyy-MM-dd" or empty
    bool audited = false;
    bool passToReference = false; ///< write the selling price to the reference database too
};

enum class LoadState {
    Loaded,
    NotFound, ///< no such product, or the line to edit is gone
    Failed,   ///< the database did not answer; already reported
};

enum class SaveState {
    Saved,
    Failed,  ///< reported; saving again is safe and never doubles the line
    Changed, ///< another workstation changed the line; told, nothing written, proposals are new
};

/// Reads a product by its id.
LoadState loadProduct(QWidget *parent, qulonglong wareid, ReceiptProduct &product);

/// The entry of one product into the working list: what to propose, and the writing of what the
/// user made of it. Lives as long as its dialog, so that a repeated save knows what the former
/// one has done.
class ReceiptEntry
{
    Q_DECLARE_TR_FUNCTIONS(ReceiptEntry)

public:
    /// Reads product, line and prices.
    LoadState load(QWidget *parent, const ReceiptRequest &request);

    const ReceiptProduct &product() const;

    /// The line that will be changed; none: a new one will be added.
    const std::optional<ReceiptLine> &line() const;

    /// Units of the product in other lines of the receipt.
    double otherLinesQuantity() const;

    /// Units that come on top of the line's quantity in the proposal.
    double addedQuantity() const;

    /// The proposal: the line's quantity plus what is added.
    double proposedQuantity() const;
    double proposedIncost() const;
    double proposedInoutratio() const;
    double proposedOutcost() const;

    /// Writes the entry. The caller has settled that the quantity is not 0.
    SaveState save(QWidget *parent, const ReceiptInput &input);

private:
    /// An INSERT of which it is not known whether, or under which id, it is in the table.
    struct PendingInsert
    {
        QString stamp;
        double quantity = 0;
        SqlRow posted = {};   ///< see readPosted(), from before it
        bool certain = false; ///< it did succeed
    };

    enum class LineWrite {
        Written,
        NotAsSeen, ///< nothing written: another workstation has changed, posted or deleted the line
        Failed,
    };

    bool readLines(QWidget *parent, QList<ReceiptLine> &lines, bool lock = false) const;
    bool readProductIncost(QWidget *parent);
    bool readPosted(QWidget *parent, SqlRow &posted) const;
    SaveState settlePending(QWidget *parent);
    SaveState writeLine(QWidget *parent, const ReceiptInput &input, const QString &stamp);
    SaveState writeNewLine(QWidget *parent, const ReceiptInput &input, const QString &stamp);
    SaveState writeExistingLine(QWidget *parent, const ReceiptInput &input, const QString &stamp);
    LineWrite tryExistingLine(const ReceiptInput &input, const QString &stamp, double quantity,
                              QList<ReceiptLine> &lines);
    SaveState lineChanged(QWidget *parent, const ReceiptLine &current, double added);
    SaveState lineGone(QWidget *parent, const ReceiptInput &input, const QString &stamp,
                       double added);
    SaveState lineInDoubt(QWidget *parent, const QList<ReceiptLine> &lines);
    static SaveState notWritten(QWidget *parent, const DatabaseFailure &failure);
    static QString lineGoneText();
    SaveState insertLine(QWidget *parent, const ReceiptInput &input, const QString &stamp,
                         double quantity);
    bool writePrices(QWidget *parent, const ReceiptLine &prices, const QString &stamp) const;
    bool passPriceToReference(QWidget *parent, double outcost);
    bool writeAudit(QWidget *parent, const QString &stamp);

    ReceiptProduct m_product;
    std::optional<ReceiptLine> m_line;
    std::optional<PendingInsert> m_pending;
    std::optional<double> m_unconfirmed; ///< a quantity of the line whose COMMIT got no answer
    ReceiptLine m_proposed;              ///< the prices that the user found
    bool m_pricesEntered = false;        ///< and has changed
    QString m_expiretime;                ///< what the product has, as far as is known here
    double m_otherLines = 0;
    double m_added = 0;
    double m_goneQuantity = 0;  ///< of lost lines, still part of the quantity that the user sees
    double m_productIncost = 0; ///< main currency
};
