#pragma once

#include <QGroupBox>

#include <memory>

#include "income/linedeletion.h"

class ColumnWidths;
class QLineEdit;
class QSpinBox;
class QTableView;
class ReceiptListModel;
class ScanBar;

namespace Ui {
class ReceiptPanel;
}

/// The receipt being assembled: code field and multiplier, what was just scanned, the working list
/// with its totals.
class ReceiptPanel final : public QGroupBox
{
    Q_OBJECT

public:
    explicit ReceiptPanel(QWidget *parent = nullptr);
    ~ReceiptPanel() override;

    /// Reads the list anew, the user's place is kept. Failures are reported over the window.
    void refresh();

    /// Selects the line of a product and brings it into sight.
    void showLine(qulonglong wareid);

    /// Opens the current line, or nothing.
    void openCurrent();

    /// The product of the current line, 0 without one.
    qulonglong currentProduct() const;

    /// The selected lines as their rows show them.
    QList<ShownLine> selectedLines() const;

    /// Lines in the list as it was read last.
    int lineCount() const;

    /// Whether an entry starts in the purchase price.
    bool startsInPrice() const;

    /// Sets the multiplier back to 1 unless it is locked.
    void releaseMultiplier();

    QLineEdit *codeField() const;
    QSpinBox *multiplier() const;
    QTableView *table() const;
    ScanBar *scanBar() const;

    /// What Tab goes through, in that order.
    QWidgetList tabChain() const;

    /// Gives the rows the height of the font.
    void fitRows();

signals:
    /// Return was pressed in the code field.
    void codeEntered();
    /// The list is to be shown in the other width.
    void refreshWanted();
    /// The list was read; how much is in it.
    void counted(const QString &text);
    /// The user has opened a line.
    void lineOpened(qulonglong wareid, qulonglong lineId);
    /// A context menu is wanted at a place on the screen.
    void menuWanted(const QPoint &place);
    /// The list is to be posted.
    void postingWanted();

private slots:
    void on_ratioCheckBox_toggled(bool checked);
    void on_incomeinvoiceTableView_doubleClicked(const QModelIndex &index);
    void on_incomeinvoiceTableView_customContextMenuRequested(const QPoint &position);

private:
    void showTotals();

    std::unique_ptr<Ui::ReceiptPanel> m_ui;
    ReceiptListModel *m_lines;
    ColumnWidths *m_widths;
};
