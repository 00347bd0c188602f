#pragma once

#include <QCoreApplication>
#include <QList>
#include <QString>

#include <optional>

#include "catalogue/product.h"
#include "db/query.h"
#include "db/rowstate.h"
#include "db/transaction.h"
#include "income/additions.h"

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

/// Whether a quantity is so large that it may be a barcode.
bool isQuestionableQuantity(double quantity);

/// A text that is the same for the same prices of the same product.
QString priceKey(qulonglong wareid, const ReceiptInput &input);

enum class SaveState {
    Saved,
    Failed,  ///< reported; saving again is safe and never doubles the line
    Changed, ///< another workstation changed the line; told, nothing written, proposals are new
    InDoubt, ///< nobody knows whether an earlier save has written the line; told as for Changed
};

/// The entry of one product into the working list: what to propose, and the writing of what the
/// user made of it. Lives as long as its dialog, so that a repeated save knows what the former
/// one has done.
class ReceiptEntry
{
    Q_DECLARE_TR_FUNCTIONS(ReceiptEntry)

public:
    /// What another workstation did to the line is only logged, not told: for who reads and saves
    /// anew by himself after Changed. A line in doubt is told all the same.
    void setQuiet(bool quiet);

    /// Reads product, line and prices. A line whose product was deleted can be edited.
    LoadState load(QWidget *parent, const ReceiptRequest &request);

    const Product &product() const;

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

    /// Whether the user has entered other prices than those proposed; then they are not proposed
    /// anew after Changed.
    bool pricesEntered() const;

    /// Writes the entry.
    SaveState save(QWidget *parent, const ReceiptInput &input);

    /// Whether the line is in the list, also when the rest of the entry could not be written.
    bool isLineWritten() const;

    /// Whether nobody knows if a failed save has written the line.
    bool isInDoubt() const;

    /// What the save that succeeded has changed, to be taken back; nothing when that cannot be
    /// told.
    const std::optional<Addition> &addition() const;

private:
    /// What a COMMIT was to write.
    struct Pending
    {
        QString stamp;
        double quantity = 0;
        SqlRow posted = {}; ///< see readPosted(), from before it
    };

    QList<ReceiptLine>::const_iterator findLine(const QList<ReceiptLine> &lines) const;
    bool readProductIncost(QWidget *parent);
    bool readPosted(SqlRow &posted) const;
    SaveState writeLine(QWidget *parent, const ReceiptInput &input, const QString &stamp);
    TransactionStep tryLine(const ReceiptInput &input, const QString &stamp, double quantity,
                            QList<ReceiptLine> &lines);
    TransactionStep lookAtLines(QList<ReceiptLine> &lines);
    bool isAsSeen(const ReceiptLine &current) const;
    bool writeRow(const ReceiptInput &input, const QString &stamp, double quantity);
    SaveState lineChanged(QWidget *parent, const ReceiptLine &current, double added);
    SaveState lineGone(QWidget *parent, const ReceiptInput &input, const QString &stamp,
                       double added);
    SaveState lineInDoubt(QWidget *parent, const QList<ReceiptLine> &lines);
    static SaveState notWritten(QWidget *parent, const TransactionResult &result);
    static QString lineGoneText();
    bool writeAudit(QWidget *parent, const QString &stamp);
    void noteAddition(const ReceiptInput &input, const QString &stamp);
    void tell(QWidget *parent, const QString &text) const;

    Product m_product;
    std::optional<ReceiptLine> m_line;
    Pending m_pending;
    bool m_inDoubt = false;       ///< whether it was written
    ReceiptLine m_written;        ///< by the transaction that is under way
    ReceiptLine m_proposed;       ///< the prices that the user found
    bool m_pricesEntered = false; ///< and has changed
    QList<ReceiptLine> m_before;  ///< the product's lines just before they were written
    std::optional<Addition> m_addition;
    bool m_quiet = false;
    bool m_lineWritten = false;
    QString m_expiretime; ///< what the product has, as far as is known here
    double m_otherLines = 0;
    double m_added = 0;
    double m_goneQuantity = 0;  ///< of lost lines, still part of the quantity that the user sees
    double m_productIncost = 0; ///< main currency
};
