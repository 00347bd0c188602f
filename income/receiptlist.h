#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

#include "income/linedeletion.h"
#include "widgets/sqltablemodel.h"

class Engine;

/// The columns of the working list. Extended adds the ratio, the fixed coefficient and the purchase
/// price and sum.
QList<TableColumn> receiptColumns(bool extended, const Engine &engine);

/// The SELECT of the working list.
QString receiptListQuery(bool extended, const Engine &engine);

/// The working list `incomeinvoice` with its headers and totals. Lines that cannot be posted, or
/// hardly were meant so, are tinted; a tool tip says why.
class ReceiptListModel final : public SqlTableModel
{
    Q_OBJECT

public:
    explicit ReceiptListModel(QObject *parent = nullptr);

    /// Reads the list anew; false on failure, the old rows stay then.
    bool refresh(QWidget *parent, bool extended, const QString &connectionName = mainConnection);

    qulonglong lineId(int row) const;
    qulonglong wareId(int row) const;

    /// The line as its row shows it.
    ShownLine shownLine(int row) const;

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

    /// Sum of purchase price times quantity, main currency; 0 while the list is not extended.
    double purchaseTotal() const;

    /// The same sum whether the list is extended or not; nothing when it could not be read.
    std::optional<double> purchaseSum() const;

    /// Sum of the selling sums, main currency.
    double sellingTotal() const;

    /// Sum of the quantities.
    double unitCount() const;

private:
    QHash<qulonglong, QString> m_faults; ///< why a line is tinted, by its id
    std::optional<double> m_purchaseSum;
};

/// A cheap statement whose single row changes whenever the working list does.
QString receiptListSignatureQuery();
