#pragma once

#include <QMainWindow>

#include <memory>

#include "income/postingtalk.h"

class CatalogueCommands;
class CodeFieldGuard;
class GoodsEntry;
class ListWatch;
class ProductPanel;
class ReceiptPanel;
class ScanReader;
class StatusLine;
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
    void on_usersAction_triggered();
    void on_ownPasswordAction_triggered();
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
    void on_cancelImportPushButton_clicked();

private:
    bool chooseConnection();
    void setUpEntry();
    void setUpPanels();
    void setUpActions();
    void applyFontSize();
    void start();
    qulonglong currentProduct() const;

    void refreshAll();
    void refreshReceipt();
    void enterCode();
    void showNews(const EntryNews &news);
    void showEntered();
    void showProductMenu(const QPoint &place);
    void showReceiptMenu(const QPoint &place);
    void showMenu(const QPoint &place, const QList<QAction *> &actions);
    void postList();
    bool askAboutMissed();
    PostingResult postReceipt(ReceiptPosting &posting, PaymentType paymentType);

    std::unique_ptr<Ui::IncomeInvoiceWindow> m_ui;
    ProductPanel *m_products = nullptr;
    ReceiptPanel *m_receipt = nullptr;
    StatusLine *m_status = nullptr;
    ListWatch *m_watch = nullptr;
    CodeFieldGuard *m_codeField = nullptr;
    ScanReader *m_scanReader = nullptr;
    GoodsEntry *m_entry = nullptr;
    CatalogueCommands *m_catalogue = nullptr;
    PostingTalk m_posting;
    qulonglong m_enteredWareId = 0; ///< whose line is to be shown at the next refresh
    bool m_ready = false;
};
