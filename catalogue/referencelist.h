#pragma once

#include <optional>

#include "catalogue/comparison.h"
#include "widgets/sqltablemodel.h"

/// The products of the reference database, each with a word on how ours compare to it. What differs
/// is tinted, what we do not have is pale.
class ReferenceList final : public SqlTableModel
{
    Q_OBJECT

public:
    explicit ReferenceList(QObject *parent = nullptr);

    /// The products whose article or name hold the words, or that have the barcode.
    std::optional<PagedSelect> pages(QWidget *parent, const QString &text) const;

    /// The product of a row with ours beside it; nothing outside of the list, and when they could
    /// not be read.
    std::optional<Comparison> comparison(int row) const;

    /// Compares anew what is shown.
    void forget();

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    QString stateText(const Comparison &comparison) const;

    int m_stateColumn;
    mutable QHash<qulonglong, Comparison> m_comparisons; ///< of rows that were looked at
    mutable bool m_failed = false; ///< a database was gone when they were compared last
};
