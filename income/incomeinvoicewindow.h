#pragma once

#include <QMainWindow>
#include <QStringList>
#include <QTimer>

#include <memory>

#include "db/query.h"
#include "income/customeralerts.h"
#include "income/posting.h"

class CodeFieldGuard;
class ColorSqlQueryModel;
class GoodsEntry;
class NameColumn;
class QLabel;
class QModelIndex;
class QTableView;
class QToolButton;
class ReceiptListModel;
class ScanReader;
struct EntryNews;

namespace Ui {
class IncomeInvoiceWindow;
}

/// The main window: the receipt being assembled with the catalogue beside it. Its construction
/// asks for the licence, the connection and the login; when one is refused, a close is queued.
class IncomeInvoiceWindow final : public QMainWindow
{
    Q_OBJECT

public:
    explicit IncomeInvoiceWindow(QWidget *parent = nullptr);
    ~IncomeInvoiceWindow() override;

    /// Whether a user is logged in and the main connection is there.
    bool isReady() const;

    /// Posts the working list and shows how it ended; refreshes nothing and tells no customer.
    PostingResult postReceipt(PaymentType paymentType);

protected:
    void closeEvent(QCloseEvent *event) override;

private slots:
    void on_exitAction_triggered();
    void on_deletewareAction_triggered();
    void on_increaseMultiplierAction_triggered();
    void on_decreaseMultiplierAction_triggered();
    void on_takeBackAction_triggered();
    void on_addOnScanAction_toggled(bool checked);
    void on_missedCodesAction_triggered();
    void on_copyAction_triggered();
    void on_helpAction_triggered();
    void on_aboutAction_triggered();
    void on_refreshAction_triggered();
    void on_currenciesAction_triggered();
    void on_updateCostsAction_triggered();
    void on_showDisabledProductsAction_triggered();
    void on_codeLineEdit_returnPressed();
    void on_namefilterLineEdit_textChanged();
    void on_namefilterLineEdit_returnPressed();
    void on_groupfilterComboBox_activated(int index);
    void on_brandfilterComboBox_activated(int index);
    void on_ratioCheckBox_toggled(bool checked);
    void on_warehouseTableView_doubleClicked(const QModelIndex &index);
    void on_incomeinvoiceTableView_doubleClicked(const QModelIndex &index);
    void on_warehouseTableView_customContextMenuRequested(const QPoint &position);
    void on_incomeinvoiceTableView_customContextMenuRequested(const QPoint &position);
    void on_applyIncomeInvoicePushButton_clicked();
    void on_cancelImportPushButton_clicked();
    void On_timer_timeout();
    void On_changeCostAction_triggered();
    void On_changeGroupAction_triggered();
    void On_editLineAction_triggered();

private:
    bool chooseConnection();
    void connectFriendDatabase();
    void setUpTables();
    void setUpNarrowWindow();
    void setUpStatusBar();
    void createContextActions();
    void restoreWindowState();
    void fitScreen();
    void saveWindowState() const;
    void applyFontSize();
    void start();

    void refreshAll();
    void refreshReceipt();
    void refreshProducts();
    void fillFilters();
    void showTotals();
    void showScan(const QString &text, bool found);
    void showConnectionState(bool online);

    void setUpEntry();
    void showNews(const EntryNews &news);
    void showEntered();
    void showMissedCount();
    bool askAboutMissed();
    void guardCodeField();
    PostingResult postReceipt(ReceiptPosting &posting, PaymentType paymentType);
    void tellCustomers(const QList<DueAlert> &due);
    QList<qulonglong> selectedProductIds() const;
    QTableView *focusedTable() const;

    std::unique_ptr<Ui::IncomeInvoiceWindow> m_ui;
    ReceiptListModel *m_receipt;
    ColorSqlQueryModel *m_products;
    CodeFieldGuard *m_codeField = nullptr;
    ScanReader *m_scanReader = nullptr;
    GoodsEntry *m_entry = nullptr;
    NameColumn *m_receiptNames = nullptr;
    NameColumn *m_productNames = nullptr;
    QAction *m_changeCostAction = nullptr;
    QAction *m_changeGroupAction = nullptr;
    QAction *m_addToLabelsAction = nullptr; ///< its dialog is not there yet
    QAction *m_editLineAction = nullptr;
    QLabel *m_scanLabel = nullptr;
    QToolButton *m_missedButton = nullptr;
    QLabel *m_countLabel = nullptr;
    QLabel *m_connectionLabel = nullptr;
    CustomerAlerts m_customerAlerts;
    QTimer m_filterTimer;
    QTimer m_timer;
    SqlRow m_signature;             ///< of the working list at the last refresh
    qulonglong m_enteredWareId = 0; ///< whose line is to be shown at the next refresh
    bool m_ready = false;
    bool m_busy = false; ///< a posting or a recomputation runs
    bool m_online = true;
    bool m_checkpointDue = false; ///< a posting has filled SQLite's log
    bool m_productColumnsSized = false;
    int m_timerRest = 0;  ///< seconds that the timer still keeps still after a failure
    int m_timerDelay = 0; ///< how long it rests after the next failure
};
