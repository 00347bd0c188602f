#pragma once

#include <QCoreApplication>

#include "catalogue/product.h"
#include "db/rowstate.h"
#include "db/transaction.h"

class QWidget;

enum class WareSaveState {
    Saved,
    Duplicate, ///< another product has this name and article: duplicateId()
    Changed,   ///< another station has written the product meanwhile: now()
    Gone,      ///< it has deleted it
    Failed,    ///< told; saving again is safe and never adds the product twice
};

/// The writing of a product with all that follows from it. Lives as long as its card, so that a
/// repeated save knows what the former one has done.
class WareSave
{
    Q_DECLARE_TR_FUNCTIONS(WareSave)

public:
    /// Begins with a stored product.
    LoadState load(QWidget *parent, qulonglong id);

    /// Begins with a new product, filled in as it is given. Its numbers keep all their digits as
    /// long as nobody changes them.
    void begin(const Product &product);

    /// 0 for a product that is not saved yet.
    qulonglong id() const;

    /// The product as it was loaded or given.
    const Product &given() const;

    /// Name, article and keywords without superfluous blanks: what save() will write.
    static Product tidy(Product product);

    /// Writes the product, its price mark, the prices of its lines in the receipt and, when it is
    /// new, its number into the rows that wait for it: all or nothing.
    WareSaveState save(QWidget *parent, const Product &product);

    qulonglong duplicateId() const;

    /// The product as the user has known it up to now, and after Changed as it is.
    const Product &seen() const;
    const Product &now() const;

    /// After Changed: the user knows it as it is now, the next save replaces it.
    void acknowledge();

    /// After Changed: the same, and what the user has left alone becomes what it is now.
    Product takeOver(Product mine);

    /// After Gone: the next save adds it anew.
    void beginAnew();

private:
    TransactionStep write(const Product &product);
    bool findFormer();
    TransactionStep writeNew(const Product &product);
    TransactionStep writeStored(const Product &product);
    bool follow(const Product &product, double before) const;
    bool takeWaitingRows() const;
    TransactionStep refuse(WareSaveState state);
    void tell(QWidget *parent, const TransactionResult &result) const;

    qulonglong m_id = 0;
    Product m_given;
    Product m_seen;
    Product m_now;
    WareSaveState m_state = WareSaveState::Failed;
    qulonglong m_duplicateId = 0;
    qulonglong m_goneId = 0; ///< of the product that was deleted; its rows go to the new one
    bool m_inDoubt = false;
    qulonglong m_formerId = 0; ///< of a new product whose COMMIT got no answer
    Product m_former;
    bool m_recovered = false; ///< the former one is there after all
};
