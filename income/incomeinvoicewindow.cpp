#include "income/incomeinvoicewindow.h"
#include "ui_incomeinvoicewindow.h"

#include "administration/ownpassworddialog.h"
#include "administration/usersdialog.h"
#include "app/messages.h"
#include "app/settings.h"
#include "catalogue/currenciesdialog.h"
#include "db/session.h"
#include "images/imagesstore.h"
#include "income/cataloguecommands.h"
#include "income/codefieldguard.h"
#include "income/goodsentry.h"
#include "income/linedeletion.h"
#include "income/listwatch.h"
#include "income/manual.h"
#include "income/papercommands.h"
#include "income/receiptprices.h"
#include "income/scanbar.h"
#include "income/setupcommands.h"
#include "income/statusline.h"
#include "login/euladialog.h"
#include "login/frienddatabase.h"
#include "login/selectconnectiondialog.h"
#include "widgets/contrasticon.h"
#include "widgets/interfacefont.h"
#include "widgets/runwithprogress.h"
#include "widgets/scanreader.h"
#include "widgets/tableclipboard.h"
#include "widgets/windowkeys.h"
#include "widgets/windowplace.h"

#include <QApplication>
#include <QCloseEvent>
#include <QLineEdit>
#include <QMenu>
#include <QSpinBox>
#include <QTableView>

#include <utility>

// Outside of any namespace, as the macro wants it.
static void initializeImages()
{
    Q_INIT_RESOURCE(images);
}

namespace {

const WindowKeys windowKeys{.geometry = QStringLiteral("incomegeometry"),
                            .state = QStringLiteral("incomestate"),
                            .splitter = QStringLiteral("income_splitter_state")};

} // namespace

IncomeInvoiceWindow::IncomeInvoiceWindow(QWidget *parent)
    : QMainWindow(parent),
      m_ui(std::make_unique<Ui::IncomeInvoiceWindow>()),
      m_posting(this)
{
    initializeImages();
    m_ui->setupUi(this);
    m_products = m_ui->productsGroupBox;
    m_receipt = m_ui->incomeInvoiceGroupBox;
    m_status = new StatusLine(m_ui->statusbar);
    m_watch = new ListWatch([this] { return m_ready && !isWorking(); }, this);
    setUpEntry();
    setUpPanels();
    setUpActions();

    m_ready = acceptEula(this) && chooseConnection();
    if (!m_ready)
        QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);

    restoreWindowPlace(this, m_ui->splitter, windowKeys, QSize(1600, 950), 40);
    applyFontSize();
    m_watch->start();
    ImagesStore::instance().open(ImagesStoreSettings::read());
    if (m_ready)
        start();
}

IncomeInvoiceWindow::~IncomeInvoiceWindow()
{
    Session::instance().reset();
    removeConnection(friendConnection);
    removeConnection(mainConnection);
}

bool IncomeInvoiceWindow::isReady() const
{
    return m_ready;
}

void IncomeInvoiceWindow::start()
{
    const CommandScope command;
    // Not before: a password may be typed by a machine, too.
    m_scanReader = new ScanReader(m_receipt->codeField(), this);
    connect(m_scanReader, &ScanReader::scanned, m_entry, &GoodsEntry::scan);
    connect(m_scanReader, &ScanReader::torn, m_entry, &GoodsEntry::scanTorn);
    m_ui->addOnScanAction->setChecked(Settings::instance().intValue(SettingsKey::AddOnScan) != 0);
    m_products->fillFilters();
    refreshAll();
    m_codeField->take();
}

bool IncomeInvoiceWindow::chooseConnection()
{
    const QString title = tr("Приход");
    SelectConnectionDialog dialog(this);
    dialog.setWindowTitle(title);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    // A reference database that could not be opened is none.
    const bool hasFriend = openFriendDatabase(this);
    for (QAction *action : {m_ui->wareBaseAction, m_ui->syncArticlesAction, m_ui->syncImagesAction})
        action->setVisible(hasFriend);
    m_products->setReference(hasFriend);
    const QString friendName = hasFriend ? dialog.friendConnectionName() : QString();
    setWindowTitle(title + tr(" - %1 - %2").arg(dialog.connectionName(), friendName));
    return true;
}

void IncomeInvoiceWindow::setUpEntry()
{
    m_entry = new GoodsEntry(
        this,
        [this] {
            const QWidget *bar = m_receipt->scanBar();
            return EntryOptions{.multiplier = m_receipt->multiplier()->value(),
                                .startInPrice = m_receipt->startsInPrice(),
                                .addAtOnce = m_ui->addOnScanAction->isChecked(),
                                .busy = isWorking(),
                                .shown = QRect(bar->mapToGlobal(QPoint()), bar->size())};
        },
        [this] { m_scanReader->takeWaitingKeys(); });
    connect(m_entry, &GoodsEntry::codeTaken, m_receipt->codeField(), &QLineEdit::setText);
    connect(m_entry, &GoodsEntry::news, this, &IncomeInvoiceWindow::showNews);
    connect(m_entry, &GoodsEntry::listTouched, this, &IncomeInvoiceWindow::showEntered);
    connect(m_entry, &GoodsEntry::multiplied, m_receipt, &ReceiptPanel::releaseMultiplier);
    connect(m_entry, &GoodsEntry::missedChanged, this, [this] {
        const qsizetype count = m_entry->missed().all().size();
        m_status->showMissedCount(count);
        m_ui->missedCodesAction->setEnabled(count > 0);
    });
}

void IncomeInvoiceWindow::setUpPanels()
{
    m_codeField =
        new CodeFieldGuard(m_receipt->codeField(), m_receipt->multiplier(), m_ui->invoicePage);
    connect(m_codeField, &CodeFieldGuard::rowEntered, this,
            [](QTableView *view, const QModelIndex &index) { emit view->doubleClicked(index); });
    connect(m_products, &ProductPanel::productOpened, m_entry, &GoodsEntry::addProduct);
    connect(m_products, &ProductPanel::menuWanted, this, &IncomeInvoiceWindow::showProductMenu);
    connect(m_receipt, &ReceiptPanel::codeEntered, this, &IncomeInvoiceWindow::enterCode);
    connect(m_receipt, &ReceiptPanel::refreshWanted, this, &IncomeInvoiceWindow::refreshReceipt);
    connect(m_receipt, &ReceiptPanel::counted, m_status, &StatusLine::showCounts);
    connect(m_receipt, &ReceiptPanel::lineOpened, m_entry, &GoodsEntry::editLine);
    connect(m_receipt, &ReceiptPanel::menuWanted, this, &IncomeInvoiceWindow::showReceiptMenu);
    connect(m_receipt, &ReceiptPanel::postingWanted, this, &IncomeInvoiceWindow::postList);
    connect(m_status, &StatusLine::missedWanted, m_ui->missedCodesAction, &QAction::trigger);
    connect(m_watch, &ListWatch::listChanged, this, &IncomeInvoiceWindow::refreshReceipt);
    connect(m_watch, &ListWatch::onlineChanged, this, [this](bool online) {
        m_status->showOnline(online);
        if (online)
            refreshAll();
    });

    // Who receives goods begins at the receipt, which stands to the right.
    setTabChain(m_receipt->tabChain() + m_products->tabChain());
}

void IncomeInvoiceWindow::setUpActions()
{
    for (QAction *action : {m_ui->wareBaseAction, m_ui->syncArticlesAction, m_ui->syncImagesAction})
        action->setVisible(false);
    connect(m_ui->editLineAction, &QAction::triggered, m_receipt, &ReceiptPanel::openCurrent);
    m_catalogue = new CatalogueCommands(
        this, [this] { return currentProduct(); }, [this] { return m_products->selectedIds(); });
    m_catalogue->addDictionaries(m_ui->windowsMenu);
    const auto *paper = new PaperCommands(this, [this] { return m_products->selectedIds(); });
    connect(paper, &PaperCommands::told, m_status, &StatusLine::showText);
    connect(paper, &PaperCommands::finished, m_codeField, &CodeFieldGuard::take);
    const auto *setup = new SetupCommands(this);
    connect(setup, &SetupCommands::settingsKept, this, &IncomeInvoiceWindow::applyFontSize);
    connect(setup, &SetupCommands::told, m_status, &StatusLine::showText);
    connect(setup, &SetupCommands::finished, m_codeField, &CodeFieldGuard::take);
    connect(m_catalogue, &CatalogueCommands::productChosen, m_entry, &GoodsEntry::addProduct);
    connect(m_catalogue, &CatalogueCommands::told, m_status, &StatusLine::showText);
    connect(m_catalogue, &CatalogueCommands::changed, this, [this](qulonglong wareid) {
        m_products->fillFilters();
        refreshReceipt();
        m_products->showProduct(wareid);
    });
    const QList<QAction *> actions = findChildren<QAction *>();
    for (QAction *action : actions)
        action->setIcon(contrastIcon(action->icon()));
    setUpMenuKeys(this, [this] { m_codeField->take(); });
}

/// Where the user is: in the receipt or else in the product table.
qulonglong IncomeInvoiceWindow::currentProduct() const
{
    return m_receipt->table()->hasFocus() ? m_receipt->currentProduct() : m_products->currentId();
}

void IncomeInvoiceWindow::applyFontSize()
{
    applyInterfaceFont();
    m_receipt->fitRows();
    m_products->fitRows();
}

void IncomeInvoiceWindow::closeEvent(QCloseEvent *event)
{
    if (isWorking())
        return event->ignore();
    m_watch->stop();
    m_products->stop();
    if (m_ready) {
        saveWindowPlace(this, m_ui->splitter, windowKeys);
        m_products->saveColumns();
    }
    QMainWindow::closeEvent(event);
}

void IncomeInvoiceWindow::on_usersAction_triggered()
{
    const CommandScope command;
    if (mayDo(this, Command::ManageUsers))
        UsersDialog(this).exec();
    m_codeField->take();
}

void IncomeInvoiceWindow::on_ownPasswordAction_triggered()
{
    const CommandScope command;
    if (OwnPasswordDialog(this).exec() == QDialog::Accepted)
        m_status->showText(tr("Пароль изменён"), true);
    m_codeField->take();
}

void IncomeInvoiceWindow::on_exitAction_triggered()
{
    close();
}

void IncomeInvoiceWindow::on_deletewareAction_triggered()
{
    // What the user sees now is what the question is about.
    const QList<ShownLine> lines = m_receipt->selectedLines();
    if (lines.isEmpty())
        return;
    if (!askToDelete(this, lines))
        return;
    const CommandScope command;
    deleteLines(this, lines);
    refreshReceipt();
    m_codeField->take();
}

void IncomeInvoiceWindow::on_increaseMultiplierAction_triggered()
{
    m_receipt->multiplier()->stepUp();
}

void IncomeInvoiceWindow::on_decreaseMultiplierAction_triggered()
{
    m_receipt->multiplier()->stepDown();
}

void IncomeInvoiceWindow::on_takeBackAction_triggered()
{
    m_entry->takeBack();
}

void IncomeInvoiceWindow::on_addOnScanAction_toggled(bool checked)
{
    QString error;
    if (!Settings::instance().change(SettingsKey::AddOnScan, QString::number(int(checked)), &error))
        showWarning(this, error);
}

void IncomeInvoiceWindow::on_missedCodesAction_triggered()
{
    m_entry->showMissed(m_products->filterText());
    m_codeField->take();
}

void IncomeInvoiceWindow::on_copyAction_triggered()
{
    copySelectedRows(m_products->table()->hasFocus() ? m_products->table() : m_receipt->table());
}

void IncomeInvoiceWindow::on_helpAction_triggered()
{
    openManual(this);
}

void IncomeInvoiceWindow::on_aboutAction_triggered()
{
    showInformation(this, tr("Lavkor: рабочее место приёмки товара\nВерсия %1")
                              .arg(QCoreApplication::applicationVersion()));
}

void IncomeInvoiceWindow::on_refreshAction_triggered()
{
    const CommandScope command;
    m_watch->wake(); // the next look tells whether the server is back
    m_products->fillFilters();
    refreshAll();
}

void IncomeInvoiceWindow::on_currenciesAction_triggered()
{
    const CommandScope command;
    CurrenciesDialog dialog(this);
    dialog.exec();
    refreshAll();
}

void IncomeInvoiceWindow::on_updateCostsAction_triggered()
{
    const CommandScope command;
    runWithProgress(this, tr("Обновление цен..."), Stopping::Harmless, [this](Progress &progress) {
        updateCosts(this, mainConnection, progress.steps());
    });
    refreshAll();
}

void IncomeInvoiceWindow::on_showDisabledProductsAction_triggered()
{
    m_products->setShowDisabled(m_ui->showDisabledProductsAction->isChecked());
}

void IncomeInvoiceWindow::enterCode()
{
    const CommandScope command;
    QLineEdit *field = m_receipt->codeField();
    field->selectAll();
    // One Return too many would be one unit too many: the next scan accepts an open line.
    if (m_codeField->isRepeated() && m_entry->lastWasAdded())
        return;
    m_entry->enterCode(field->text());
    m_codeField->take();
}

void IncomeInvoiceWindow::showNews(const EntryNews &news)
{
    m_status->showText(news.status, news.good);
    m_receipt->scanBar()->showNews(news);
    m_enteredWareId = news.wareid;
}

/// Shows the list as it is now, and in it the line that was entered.
void IncomeInvoiceWindow::showEntered()
{
    refreshReceipt();
    m_receipt->showLine(std::exchange(m_enteredWareId, 0));
    m_codeField->take();
}

void IncomeInvoiceWindow::showProductMenu(const QPoint &place)
{
    const bool selected = !m_products->selectedIds().isEmpty();
    m_ui->changeCostAction->setEnabled(selected);
    m_ui->changeGroupAction->setEnabled(selected);
    m_ui->addToLabelsAction->setEnabled(selected);
    showMenu(place, {m_ui->addToLabelsAction, m_ui->changeCostAction, m_ui->changeGroupAction});
}

void IncomeInvoiceWindow::showReceiptMenu(const QPoint &place)
{
    m_ui->editLineAction->setEnabled(m_receipt->table()->currentIndex().isValid());
    showMenu(place, {m_ui->editLineAction, m_ui->deletewareAction});
}

void IncomeInvoiceWindow::showMenu(const QPoint &place, const QList<QAction *> &actions)
{
    QMenu menu(this);
    menu.addActions(actions);
    menu.addSeparator();
    menu.addAction(m_ui->copyAction);
    menu.exec(place);
}

void IncomeInvoiceWindow::postList()
{
    const auto leave = [this](const QString &text, bool good) {
        m_status->showText(text, good);
        m_codeField->take();
    };
    if (!mayDo(this, Command::PostReceipt))
        return leave(tr("Накладная не проведена"), false);
    const bool hadLines = m_receipt->lineCount() > 0;
    if (hadLines && !askAboutMissed())
        return;
    ReceiptPosting posting(this, mainConnection);
    const std::optional<ReceiptSummary> summary = posting.look();
    if (!summary) // the user has been told
        return m_status->showText(PostingResult().headline(), false);
    refreshReceipt(); // the list behind the question is the one that it is about
    if (summary->lines == 0)
        return leave(hadLines ? PostingResult{.outcome = PostingOutcome::EmptyList}.headline()
                              : tr("Приход пуст, проводить нечего"),
                     false);
    // Another station has filled the list just now.
    if (!hadLines && !askAboutMissed())
        return;
    const PostingTalk::Answer answer = m_posting.ask(posting, *summary);
    if (!answer.post) {
        leave(answer.listChanged ? tr("Накладная не проведена: отменено, а список тем временем "
                                      "изменён на другом рабочем месте")
                                 : tr("Накладная не проведена: отменено"),
              !answer.listChanged);
        if (answer.listChanged)
            refreshReceipt();
        return;
    }
    const CommandScope command;
    const PostingResult result = postReceipt(posting, answer.paymentType);
    // Without its server there is nothing to read, and the user has been asked once.
    if (openConnection(mainConnection))
        refreshAll();
    m_posting.tellCustomers(result.due);
    m_codeField->take();
}

bool IncomeInvoiceWindow::askAboutMissed()
{
    return m_posting.askAboutMissed(m_entry->missed().all(),
                                    [this] { on_missedCodesAction_triggered(); });
}

PostingResult IncomeInvoiceWindow::postReceipt(PaymentType paymentType)
{
    ReceiptPosting posting(this, mainConnection);
    return postReceipt(posting, paymentType);
}

PostingResult IncomeInvoiceWindow::postReceipt(ReceiptPosting &posting, PaymentType paymentType)
{
    PostingResult result = m_posting.post(posting, paymentType);
    m_watch->tidyUpSoon();
    const bool posted = result.outcome == PostingOutcome::Posted;
    if (posted)
        m_entry->forget();
    m_status->showText(result.headline(), posted);
    m_posting.showResult(result);
    return result;
}

void IncomeInvoiceWindow::on_cancelImportPushButton_clicked()
{
    m_ui->stackedWidget->setCurrentWidget(m_ui->invoicePage);
}

void IncomeInvoiceWindow::refreshAll()
{
    const CommandScope command;
    refreshReceipt();
    m_products->refresh();
}

void IncomeInvoiceWindow::refreshReceipt()
{
    // Noted first: what changes between the two reads is seen by the watch.
    m_watch->noteList();
    m_receipt->refresh();
}
