#include "income/incomeinvoicewindow.h"
#include "ui_incomeinvoicewindow.h"

#include "app/logging.h"
#include "app/messages.h"
#include "app/settings.h"
#include "catalogue/colorsqlquerymodel.h"
#include "catalogue/costdialog.h"
#include "catalogue/currenciesdialog.h"
#include "catalogue/groupdialog.h"
#include "catalogue/productgroups.h"
#include "catalogue/productlist.h"
#include "db/money.h"
#include "db/session.h"
#include "db/transaction.h"
#include "income/codefieldguard.h"
#include "income/goodsentry.h"
#include "income/linedeletion.h"
#include "income/manual.h"
#include "income/receiptlist.h"
#include "income/receiptprices.h"
#include "login/euladialog.h"
#include "login/selectconnectiondialog.h"
#include "sms/sendsmsdialog.h"
#include "widgets/colors.h"
#include "widgets/contrasticon.h"
#include "widgets/foldingrow.h"
#include "widgets/namecolumn.h"
#include "widgets/placeholder.h"
#include "widgets/progressdialog.h"
#include "widgets/scanreader.h"
#include "widgets/tableplace.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDebug>
#include <QLabel>
#include <QMenu>
#include <QScopeGuard>
#include <QScreen>
#include <QScrollBar>
#include <QSettings>
#include <QToolButton>

#include <utility>

// Outside of any namespace, as the macro wants it.
static void initializeImages()
{
    Q_INIT_RESOURCE(images);
}

namespace {

constexpr int timerPeriodMs = 1000;
constexpr int filterDelayMs = 150; ///< typing goes on before the list is read again
constexpr int maxTimerRest = 30;   ///< seconds between two looks for a lost server

constexpr int nameColumn = 3;  ///< in both tables
constexpr int priceColumn = 4; ///< of the products
constexpr int stockColumn = 5;

const QString geometryKey = QStringLiteral("incomegeometry");
const QString stateKey = QStringLiteral("incomestate");
const QString splitterKey = QStringLiteral("income_splitter_state");
const QString productTableKey = QStringLiteral("income_warehouse_table_state");
const QString productNameKey = QStringLiteral("income_warehouse_name_dragged");

} // namespace

IncomeInvoiceWindow::IncomeInvoiceWindow(QWidget *parent)
    : QMainWindow(parent),
      m_ui(std::make_unique<Ui::IncomeInvoiceWindow>()),
      m_receipt(new ReceiptListModel(this)),
      m_products(new ColorSqlQueryModel(this))
{
    initializeImages();
    m_ui->setupUi(this);
    setUpTables();
    setUpEntry();
    guardCodeField();
    setUpStatusBar();
    createContextActions();
    setUpNarrowWindow();
    for (QAction *action : {m_ui->wareBaseAction, m_ui->syncArticlesAction, m_ui->syncImagesAction})
        action->setVisible(false);

    m_ready = acceptEula(this) && chooseConnection();
    if (!m_ready)
        QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);

    restoreWindowState();
    applyFontSize();
    connect(&m_timer, &QTimer::timeout, this, &IncomeInvoiceWindow::On_timer_timeout);
    m_timer.start(timerPeriodMs);
    m_filterTimer.setSingleShot(true);
    connect(&m_filterTimer, &QTimer::timeout, this, &IncomeInvoiceWindow::refreshProducts);
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
    m_scanReader = new ScanReader(m_ui->codeLineEdit, this);
    connect(m_scanReader, &ScanReader::scanned, m_entry, &GoodsEntry::scan);
    connect(m_scanReader, &ScanReader::torn, m_entry, &GoodsEntry::scanTorn);
    m_ui->addOnScanAction->setChecked(Settings::instance().intValue(SettingsKey::AddOnScan) != 0);
    fillFilters();
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
    connectFriendDatabase();
    // A reference database that could not be opened is none.
    const QString friendName =
        isConnectionRegistered(friendConnection) ? dialog.friendConnectionName() : QString();
    setWindowTitle(title + tr(" - %1 - %2").arg(dialog.connectionName(), friendName));
    return true;
}

void IncomeInvoiceWindow::connectFriendDatabase()
{
    const Settings &settings = Settings::instance();
    const QString name = settings.value(SettingsKey::FriendConnection);
    const ConnectionEntry *entry = name.isEmpty() ? nullptr : settings.findConnection(name);
    // SQLite would make an empty file of a mistyped name.
    if (entry && isDatabaseFileMissing(*entry)) {
        showWarning(this, tr("Файл справочной базы данных не найден: %1").arg(entry->databasename));
        entry = nullptr;
    }
    if (!entry || !createConnection(this, *entry, friendConnection)) {
        qDebug() << "No friend connection.";
        return;
    }
    for (QAction *action : {m_ui->wareBaseAction, m_ui->syncArticlesAction, m_ui->syncImagesAction})
        action->setVisible(true);
}

void IncomeInvoiceWindow::setUpTables()
{
    m_ui->incomeinvoiceTableView->setModel(m_receipt);
    m_ui->warehouseTableView->setModel(m_products);
    for (QTableView *view : {m_ui->incomeinvoiceTableView, m_ui->warehouseTableView}) {
        view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 8);
        // Measuring all rows of a long list for the widths would make it slow.
        view->horizontalHeader()->setResizeContentsPrecision(100);
    }
    constexpr int lesserColumns = 1; // when a line was added matters least
    m_receiptNames = new NameColumn(m_ui->incomeinvoiceTableView, nameColumn, lesserColumns);
    m_productNames = new NameColumn(m_ui->warehouseTableView, nameColumn);
}

/// A large font or a small screen leaves no room for the rows as they stand in the form.
void IncomeInvoiceWindow::setUpNarrowWindow()
{
    constexpr int shortestFilter = 14; // signs
    m_ui->namefilterLineEdit->setMinimumWidth(
        m_ui->namefilterLineEdit->fontMetrics().averageCharWidth() * shortestFilter);
    new FoldingRow(m_ui->filterNameLayout, m_ui->filterGroupBox);
    new FoldingRow(m_ui->filterChoiceLayout, m_ui->filterGroupBox);
    new FoldingRow(m_ui->codeRowLayout, m_ui->incomeInvoiceGroupBox);
    // As narrow as folded rows allow; the layouts would ask for what their rows need at present.
    for (QWidget *box :
         {m_ui->filterGroupBox, m_ui->productsGroupBox, m_ui->incomeInvoiceGroupBox}) {
        box->layout()->activate(); // nested rows were measured before their texts were set
        box->setMinimumWidth(box->minimumSizeHint().width());
    }
    setPlaceholders(m_ui->codeLineEdit, {tr("Штрих-код или номер наименования"),
                                         tr("Штрих-код или номер"), tr("Штрих-код")});
}

void IncomeInvoiceWindow::setUpEntry()
{
    m_entry = new GoodsEntry(
        this,
        [this] {
            return EntryOptions{
                .multiplier = m_ui->multiplierSpinBox->value(),
                .startInPrice = m_ui->incostCheckBox->isChecked(),
                .addAtOnce = m_ui->addOnScanAction->isChecked(),
                .busy = m_busy,
                .shown = QRect(m_ui->scanBar->mapToGlobal(QPoint()), m_ui->scanBar->size())};
        },
        [this] { m_scanReader->takeWaitingKeys(); });
    connect(m_entry, &GoodsEntry::codeTaken, m_ui->codeLineEdit, &QLineEdit::setText);
    connect(m_entry, &GoodsEntry::news, this, &IncomeInvoiceWindow::showNews);
    connect(m_entry, &GoodsEntry::listTouched, this, &IncomeInvoiceWindow::showEntered);
    connect(m_entry, &GoodsEntry::missedChanged, this, &IncomeInvoiceWindow::showMissedCount);
    connect(m_entry, &GoodsEntry::multiplied, this, [this] {
        if (!m_ui->lockPushButton->isChecked())
            m_ui->multiplierSpinBox->setValue(1);
    });
}

void IncomeInvoiceWindow::guardCodeField()
{
    m_codeField =
        new CodeFieldGuard(m_ui->codeLineEdit, m_ui->multiplierSpinBox, m_ui->invoicePage);
    connect(m_codeField, &CodeFieldGuard::rowEntered, this,
            [this](QTableView *view, const QModelIndex &index) {
                if (view == m_ui->warehouseTableView)
                    on_warehouseTableView_doubleClicked(index);
                else
                    on_incomeinvoiceTableView_doubleClicked(index);
            });
    // A whole barcode must be legible, also in a large font and a narrow window.
    m_ui->codeLineEdit->setMinimumWidth(m_ui->codeLineEdit->fontMetrics().averageCharWidth() * 17);
}

void IncomeInvoiceWindow::setUpStatusBar()
{
    m_scanLabel = new QLabel(this);
    m_scanLabel->setObjectName(QStringLiteral("scanLabel"));
    m_missedButton = new QToolButton(this);
    m_missedButton->setObjectName(QStringLiteral("missedButton"));
    m_missedButton->setAutoRaise(true);
    m_missedButton->setFocusPolicy(Qt::NoFocus);
    m_missedButton->hide();
    connect(m_missedButton, &QToolButton::clicked, m_ui->missedCodesAction, &QAction::trigger);
    m_countLabel = new QLabel(this);
    m_countLabel->setObjectName(QStringLiteral("countLabel"));
    m_connectionLabel = new QLabel(this);
    m_connectionLabel->setObjectName(QStringLiteral("connectionLabel"));
    for (QLabel *label : {m_scanLabel, m_countLabel, m_connectionLabel})
        label->setTextFormat(Qt::PlainText);
    // A long name must not widen the window.
    m_scanLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_scanLabel->setIndent(8);
    m_ui->statusbar->addWidget(m_scanLabel, 1);
    m_ui->statusbar->addPermanentWidget(m_missedButton);
    m_ui->statusbar->addPermanentWidget(m_countLabel);
    m_ui->statusbar->addPermanentWidget(m_connectionLabel);
}

void IncomeInvoiceWindow::createContextActions()
{
    const auto add = [this](const char *name, const QString &text) {
        auto *action = new QAction(text, this);
        action->setObjectName(QLatin1String(name));
        return action;
    };
    m_addToLabelsAction = add("addToLabelsAction", tr("Добавить в этикетки"));
    m_addToLabelsAction->setEnabled(false);
    m_changeCostAction = add("changeCostAction", tr("Изменить цену"));
    connect(m_changeCostAction, &QAction::triggered, this,
            &IncomeInvoiceWindow::On_changeCostAction_triggered);
    m_changeGroupAction = add("changeGroupAction", tr("Изменить группу"));
    connect(m_changeGroupAction, &QAction::triggered, this,
            &IncomeInvoiceWindow::On_changeGroupAction_triggered);
    m_editLineAction = add("editLineAction", tr("Изменить позицию"));
    connect(m_editLineAction, &QAction::triggered, this,
            &IncomeInvoiceWindow::On_editLineAction_triggered);

    const QList<QAction *> actions = findChildren<QAction *>();
    for (QAction *action : actions)
        action->setIcon(contrastIcon(action->icon()));

    QAction *openMenu = add("menuAction", QString());
    openMenu->setShortcut(Qt::Key_F10);
    addAction(openMenu);
    connect(openMenu, &QAction::triggered, this,
            [this] { m_ui->menubar->setActiveAction(m_ui->fileMenu->menuAction()); });
    // Escape would leave the keyboard in the menu bar, where the next scan is lost.
    const QList<QMenu *> menus = m_ui->menubar->findChildren<QMenu *>();
    for (const QMenu *menu : menus) {
        connect(
            menu, &QMenu::aboutToHide, this,
            [this] {
                if (m_ui->menubar->hasFocus() && !QApplication::activePopupWidget())
                    m_codeField->take();
            },
            Qt::QueuedConnection);
    }
}

void IncomeInvoiceWindow::restoreWindowState()
{
    const QSettings store;
    if (!restoreGeometry(store.value(geometryKey).toByteArray()))
        fitScreen();
    restoreState(store.value(stateKey).toByteArray());
    if (!m_ui->splitter->restoreState(store.value(splitterKey).toByteArray()))
        m_ui->splitter->setSizes({width() * 2 / 5, width() * 3 / 5});
}

/// The size of the first start: roomy on a large screen, whole on a small one.
void IncomeInvoiceWindow::fitScreen()
{
    const QSize room = screen()->availableGeometry().size();
    const QSize frame(12, 44); // of the window, which is not known before it is shown
    resize(QSize(1600, 950).boundedTo(room - frame));
}

void IncomeInvoiceWindow::saveWindowState() const
{
    QSettings store;
    store.setValue(geometryKey, saveGeometry());
    store.setValue(stateKey, saveState());
    store.setValue(splitterKey, m_ui->splitter->saveState());
    if (m_productColumnsSized)
        store.setValue(productTableKey, m_ui->warehouseTableView->horizontalHeader()->saveState());
    store.setValue(productNameKey, m_productNames->isDragged());
}

void IncomeInvoiceWindow::applyFontSize()
{
    const int points = Settings::instance().intValue(SettingsKey::FontSize);
    if (points <= 0)
        return;
    QFont larger = font();
    larger.setPointSize(points);
    setFont(larger);
    for (QTableView *view : {m_ui->incomeinvoiceTableView, m_ui->warehouseTableView})
        view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 8);
}

void IncomeInvoiceWindow::closeEvent(QCloseEvent *event)
{
    if (m_busy) {
        event->ignore();
        return;
    }
    m_timer.stop();
    m_filterTimer.stop();
    if (m_ready)
        saveWindowState();
    QMainWindow::closeEvent(event);
}

void IncomeInvoiceWindow::on_exitAction_triggered()
{
    close();
}

void IncomeInvoiceWindow::on_deletewareAction_triggered()
{
    const QModelIndexList rows = m_ui->incomeinvoiceTableView->selectionModel()->selectedRows();
    if (rows.isEmpty())
        return;
    // What the user sees now is what the question is about.
    QList<ShownLine> lines;
    for (const QModelIndex &index : rows)
        lines += m_receipt->shownLine(index.row());
    BoxRequest request;
    request.text = tr("Вы действительно хотите удалить из прихода выделенные позиции?");
    request.note = deletionNote(lines);
    request.buttons = {tr("Да"), tr("Нет")};
    request.defaultButton = 1;
    request.escapeButton = 1;
    if (askQuestion(this, request) != 0)
        return;
    const CommandScope command;
    deleteLines(this, lines);
    refreshReceipt();
    m_codeField->take();
}

void IncomeInvoiceWindow::on_increaseMultiplierAction_triggered()
{
    m_ui->multiplierSpinBox->stepUp();
}

void IncomeInvoiceWindow::on_decreaseMultiplierAction_triggered()
{
    m_ui->multiplierSpinBox->stepDown();
}

void IncomeInvoiceWindow::on_takeBackAction_triggered()
{
    m_entry->takeBack();
}

void IncomeInvoiceWindow::on_addOnScanAction_toggled(bool checked)
{
    Settings &settings = Settings::instance();
    if (settings.intValue(SettingsKey::AddOnScan) == int(checked))
        return;
    settings.setValue(SettingsKey::AddOnScan, QString::number(int(checked)));
    QString error;
    if (!settings.save(&error))
        showWarning(this, error);
}

void IncomeInvoiceWindow::on_missedCodesAction_triggered()
{
    m_entry->showMissed(m_ui->namefilterLineEdit->text());
    m_codeField->take();
}

QTableView *IncomeInvoiceWindow::focusedTable() const
{
    return m_ui->warehouseTableView->hasFocus() ? m_ui->warehouseTableView
                                                : m_ui->incomeinvoiceTableView;
}

void IncomeInvoiceWindow::on_copyAction_triggered()
{
    const QTableView *view = focusedTable();
    const QHeaderView *header = view->horizontalHeader();
    QModelIndexList rows = view->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    QStringList lines;
    for (const QModelIndex &index : std::as_const(rows)) {
        QStringList cells;
        for (int visual = 0; visual < header->count(); ++visual) {
            const int column = header->logicalIndex(visual);
            if (!header->isSectionHidden(column) && header->sectionSize(column) > 0)
                cells += index.siblingAtColumn(column).data().toString();
        }
        lines += cells.join(u'\t');
    }
    if (!lines.isEmpty())
        QApplication::clipboard()->setText(lines.join(u'\n'));
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
    m_timerRest = 0; // the next look tells whether the server is back
    fillFilters();
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
    m_busy = true;
    const auto free = qScopeGuard([this] { m_busy = false; });
    std::unique_ptr<ProgressDialog> progress;
    updateCosts(this, mainConnection, [&](int done, int total) {
        if (!progress)
            progress = std::make_unique<ProgressDialog>(tr("Обновление цен..."), total, this);
        progress->advance(done);
    });
    progress.reset();
    refreshAll();
}

void IncomeInvoiceWindow::on_showDisabledProductsAction_triggered()
{
    refreshProducts();
}

void IncomeInvoiceWindow::on_codeLineEdit_returnPressed()
{
    const CommandScope command;
    m_ui->codeLineEdit->selectAll();
    // One Return too many would be one unit too many: the next scan accepts an open line.
    if (m_codeField->isRepeated() && m_entry->lastWasAdded())
        return;
    m_entry->enterCode(m_ui->codeLineEdit->text());
    m_codeField->take();
}

void IncomeInvoiceWindow::showNews(const EntryNews &news)
{
    showScan(news.status, news.good);
    if (!news.name.isEmpty())
        m_ui->scanBar->showProduct(news.name, news.quantity, news.price, news.warning);
    else if (news.good)
        m_ui->scanBar->showProduct(news.status, {}, {});
    else
        m_ui->scanBar->showMiss(news.status);
    m_enteredWareId = news.wareid;
}

/// Shows the list as it is now, and in it the line that was entered.
void IncomeInvoiceWindow::showEntered()
{
    refreshReceipt();
    const int row = m_receipt->rowOfId(std::exchange(m_enteredWareId, 0), QStringLiteral("wareid"));
    if (row >= 0) {
        m_ui->incomeinvoiceTableView->selectRow(row);
        m_ui->incomeinvoiceTableView->scrollTo(m_receipt->index(row, nameColumn));
    }
    m_codeField->take();
}

void IncomeInvoiceWindow::showMissedCount()
{
    const qsizetype count = m_entry->missed().all().size();
    m_missedButton->setText(tr("Не найдено кодов: %1").arg(count));
    QPalette colours = palette();
    for (const QPalette::ColorRole role : {QPalette::ButtonText, QPalette::WindowText})
        colours.setColor(role, warningTextColor(colours));
    m_missedButton->setPalette(colours);
    m_missedButton->setVisible(count > 0);
    m_ui->missedCodesAction->setEnabled(count > 0);
}

/// Whether the posting may go on although scanned codes are not in the receipt.
bool IncomeInvoiceWindow::askAboutMissed()
{
    QStringList codes;
    for (const MissedCode &code : m_entry->missed().all())
        codes += tr("%1 (раз: %2)").arg(code.code).arg(code.times);
    if (codes.isEmpty())
        return true;
    BoxRequest request;
    request.text = tr("Не все отсканированные коды найдены: этих товаров нет в приходе. Провести "
                      "накладную без них?");
    request.note = shortened(codes, 5).join(u'\n');
    request.buttons = {tr("Продолжить без них"), tr("Показать коды"), tr("Отмена")};
    request.defaultButton = 1;
    request.escapeButton = 2;
    const int choice = askQuestion(this, request);
    if (choice == 1)
        on_missedCodesAction_triggered();
    return choice == 0;
}

void IncomeInvoiceWindow::on_namefilterLineEdit_textChanged()
{
    m_filterTimer.start(filterDelayMs);
}

void IncomeInvoiceWindow::on_namefilterLineEdit_returnPressed()
{
    m_filterTimer.stop();
    refreshProducts();
    if (m_products->rowCount() == 0)
        return;
    m_ui->warehouseTableView->setFocus();
    m_ui->warehouseTableView->selectRow(0);
}

void IncomeInvoiceWindow::on_groupfilterComboBox_activated(int)
{
    refreshProducts();
}

void IncomeInvoiceWindow::on_brandfilterComboBox_activated(int)
{
    refreshProducts();
}

void IncomeInvoiceWindow::on_ratioCheckBox_toggled(bool)
{
    if (m_ready)
        refreshReceipt();
}

void IncomeInvoiceWindow::on_warehouseTableView_doubleClicked(const QModelIndex &index)
{
    const qulonglong wareId = m_products->value(index.row(), 0).toULongLong();
    if (wareId > 0)
        m_entry->addProduct(wareId);
}

void IncomeInvoiceWindow::on_incomeinvoiceTableView_doubleClicked(const QModelIndex &index)
{
    if (!index.isValid())
        return;
    m_entry->editLine(m_receipt->wareId(index.row()), m_receipt->lineId(index.row()));
}

void IncomeInvoiceWindow::on_warehouseTableView_customContextMenuRequested(const QPoint &position)
{
    QMenu menu(this);
    const bool selected = !selectedProductIds().isEmpty();
    m_changeCostAction->setEnabled(selected);
    m_changeGroupAction->setEnabled(selected);
    menu.addActions({m_addToLabelsAction, m_changeCostAction, m_changeGroupAction});
    menu.addSeparator();
    menu.addAction(m_ui->copyAction);
    menu.exec(m_ui->warehouseTableView->viewport()->mapToGlobal(position));
}

void IncomeInvoiceWindow::on_incomeinvoiceTableView_customContextMenuRequested(
    const QPoint &position)
{
    QMenu menu(this);
    m_editLineAction->setEnabled(m_ui->incomeinvoiceTableView->currentIndex().isValid());
    menu.addAction(m_editLineAction);
    menu.addAction(m_ui->deletewareAction);
    menu.addSeparator();
    menu.addAction(m_ui->copyAction);
    menu.exec(m_ui->incomeinvoiceTableView->viewport()->mapToGlobal(position));
}

QList<qulonglong> IncomeInvoiceWindow::selectedProductIds() const
{
    QList<qulonglong> ids;
    const QModelIndexList rows = m_ui->warehouseTableView->selectionModel()->selectedRows();
    for (const QModelIndex &index : rows)
        ids += m_products->value(index.row(), 0).toULongLong();
    return ids;
}

void IncomeInvoiceWindow::On_changeCostAction_triggered()
{
    const QList<qulonglong> ids = selectedProductIds();
    if (ids.isEmpty())
        return;
    const CommandScope command;
    CostDialog dialog(ids, this);
    if (openConnection(mainConnection) && dialog.exec() == QDialog::Accepted)
        refreshProducts();
}

void IncomeInvoiceWindow::On_changeGroupAction_triggered()
{
    const QList<qulonglong> ids = selectedProductIds();
    if (ids.isEmpty())
        return;
    const CommandScope command;
    GroupDialog dialog(ids, this);
    // Without its server there is nothing to choose from, and the user has been asked.
    if (!openConnection(mainConnection) || dialog.exec() != QDialog::Accepted)
        return;
    const GroupChange change = changeGroup(this, ids, dialog.group());
    if (change.done) {
        QString text = tr("Группа «%1» записана наименованиям: %2")
                           .arg(dialog.groupName(), QString::number(change.changed));
        if (change.missing > 0)
            text += tr(", нет в каталоге: ") + QString::number(change.missing);
        showScan(text, true);
    }
    refreshProducts();
}

void IncomeInvoiceWindow::On_editLineAction_triggered()
{
    on_incomeinvoiceTableView_doubleClicked(m_ui->incomeinvoiceTableView->currentIndex());
}

void IncomeInvoiceWindow::on_applyIncomeInvoicePushButton_clicked()
{
    const bool hadLines = m_receipt->rowCount() > 0;
    if (hadLines && !askAboutMissed())
        return;
    ReceiptPosting posting(this, mainConnection);
    const std::optional<ReceiptSummary> summary = posting.look();
    if (!summary) { // the user has been told
        showScan(PostingResult().headline(), false);
        return;
    }
    refreshReceipt(); // the list behind the question is the one that it is about
    if (summary->lines == 0) {
        showScan(hadLines ? PostingResult{.outcome = PostingOutcome::EmptyList}.headline()
                          : tr("Приход пуст, проводить нечего"),
                 false);
        m_codeField->take();
        return;
    }
    // Another station has filled the list just now.
    if (!hadLines && !askAboutMissed())
        return;
    BoxRequest request;
    request.text = tr("<h3>Провести накладную?</h3><p>Будут обновлены: остаток, приходная цена, "
                      "расходная цена. Выберите способ оплаты товара.</p>");
    request.note = summary->text();
    request.buttons = {tr("Провести (наличными)"), tr("Провести (безналичными)"), tr("Отмена")};
    request.defaultButton = 2;
    request.escapeButton = 2;
    request.html = true;
    const int choice = askQuestion(this, request);
    if (choice == 2) {
        const bool changed = posting.hasChanged();
        showScan(changed ? tr("Накладная не проведена: отменено, а список тем временем изменён на "
                              "другом рабочем месте")
                         : tr("Накладная не проведена: отменено"),
                 !changed);
        if (changed)
            refreshReceipt();
        m_codeField->take();
        return;
    }
    const CommandScope command;
    const PostingResult result =
        postReceipt(posting, choice == 0 ? PaymentType::Cash : PaymentType::Cashless);
    // Without its server there is nothing to read, and the user has been asked once.
    if (openConnection(mainConnection))
        refreshAll();
    tellCustomers(result.due);
    m_codeField->take();
}

PostingResult IncomeInvoiceWindow::postReceipt(PaymentType paymentType)
{
    ReceiptPosting posting(this, mainConnection);
    return postReceipt(posting, paymentType);
}

PostingResult IncomeInvoiceWindow::postReceipt(ReceiptPosting &posting, PaymentType paymentType)
{
    m_busy = true;
    const auto free = qScopeGuard([this] { m_busy = false; });
    std::unique_ptr<ProgressDialog> progress;
    PostingCallbacks callbacks;
    callbacks.started = [&](int lines) {
        progress = std::make_unique<ProgressDialog>(tr("Перемещение на склад..."), lines, this);
    };
    callbacks.progress = [&](int done) {
        progress->advance(done);
    };
    PostingResult result = posting.post(paymentType, callbacks);
    if (progress)
        progress->setValue(progress->maximum());
    progress.reset();
    m_checkpointDue = true;

    const bool posted = result.outcome == PostingOutcome::Posted;
    if (posted)
        m_entry->forget();
    showScan(result.headline(), posted);
    if (!result.details.isEmpty() && !result.message.isEmpty())
        showFailure(this, result.message, result.details);
    else if (posted && !result.message.isEmpty())
        showInformation(this, result.message);
    else if (!result.message.isEmpty())
        showWarning(this, result.message);
    return result;
}

/// Nothing of the posting is open any more: a gateway may be as slow as it likes.
void IncomeInvoiceWindow::tellCustomers(const QList<DueAlert> &due)
{
    m_busy = true;
    const auto free = qScopeGuard([this] { m_busy = false; });
    std::unique_ptr<ProgressDialog> progress;
    AlertCallbacks callbacks;
    callbacks.progress = [&](int done) {
        if (!progress)
            progress = std::make_unique<ProgressDialog>(tr("Отправка СМС покупателям..."),
                                                        int(due.size()), this);
        progress->advance(done);
    };
    callbacks.send = [&](const QString &phone, const QString &text, SmsRun &run) {
        return sendSms(progress.get(), phone, text, &run);
    };
    const AlertReport report = m_customerAlerts.tell(due, callbacks);
    progress.reset();
    if (!report.text().isEmpty())
        showInformation(this, report.text());
}

void IncomeInvoiceWindow::on_cancelImportPushButton_clicked()
{
    m_ui->stackedWidget->setCurrentWidget(m_ui->invoicePage);
}

void IncomeInvoiceWindow::On_timer_timeout()
{
    if (!m_ready || m_busy || QApplication::activeModalWidget() || inTransaction())
        return;
    countIdle(mainConnection);
    if (m_checkpointDue) {
        m_checkpointDue = false;
        checkpointWhenIdle(mainConnection);
    }
    if (m_timerRest > 0) {
        --m_timerRest;
        return;
    }
    // Without a parent: a dead server must not raise a question every second.
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, receiptListSignatureQuery(), rows) || rows.isEmpty()) {
        m_timerDelay = qMin(qMax(1, m_timerDelay * 2), maxTimerRest);
        m_timerRest = m_timerDelay;
        showConnectionState(false);
        return;
    }
    m_timerDelay = 0;
    if (!m_online) {
        showConnectionState(true);
        refreshAll();
    } else if (rows.first() != m_signature) {
        refreshReceipt();
    }
}

void IncomeInvoiceWindow::showConnectionState(bool online)
{
    if (online == m_online)
        return;
    m_online = online;
    logMessage(online ? QStringLiteral("The database answers again.")
                      : QStringLiteral("The database does not answer."));
    m_connectionLabel->setText(online ? tr("связь есть") : tr("нет связи"));
}

void IncomeInvoiceWindow::refreshAll()
{
    const CommandScope command;
    refreshReceipt();
    refreshProducts();
}

void IncomeInvoiceWindow::refreshReceipt()
{
    // The signature first: what changes between the two reads is seen by the timer.
    QList<SqlRow> rows;
    m_signature.clear();
    if (QueryRows(nullptr, receiptListSignatureQuery(), rows) && !rows.isEmpty())
        m_signature = rows.first();
    QTableView *view = m_ui->incomeinvoiceTableView;
    const TablePlace place(view, m_receipt);
    if (!m_receipt->refresh(this, m_ui->ratioCheckBox->isChecked()))
        return;
    m_receiptNames->resizeToContents();
    view->setColumnWidth(1, 0);
    m_receiptNames->fit();
    place.restore();
    showTotals();
}

void IncomeInvoiceWindow::showTotals()
{
    m_ui->in_totalLabel->setText(tr("Приходный итог: ") + formatMoney(m_receipt->purchaseTotal()));
    m_ui->totalLabel->setText(tr("Расходный итог: ") + formatMoney(m_receipt->sellingTotal()));
    QString counts =
        tr("Строк: %1, единиц: %2")
            .arg(QString::number(m_receipt->rowCount()), formatQuantity(m_receipt->unitCount()));
    if (const std::optional<double> sum = m_receipt->purchaseSum())
        counts += tr(", приходная сумма: %1").arg(formatMoney(*sum));
    m_countLabel->setText(counts);
}

void IncomeInvoiceWindow::refreshProducts()
{
    m_filterTimer.stop();
    ProductFilter filter;
    filter.text = m_ui->namefilterLineEdit->text().trimmed();
    filter.showDisabled = m_ui->showDisabledProductsAction->isChecked();
    const QVariant group = m_ui->groupfilterComboBox->currentData();
    if (group.isValid())
        filter.groupId = group.toULongLong();
    const QVariant brand = m_ui->brandfilterComboBox->currentData();
    if (brand.isValid())
        filter.brandId = brand.toULongLong();

    QTableView *view = m_ui->warehouseTableView;
    const TablePlace place(view, m_products);
    if (!m_products->select(this, productListQuery(filter)))
        return;
    if (!m_productColumnsSized && m_products->rowCount() > 0) {
        m_productColumnsSized = true;
        view->setColumnHidden(1, true);
        m_productNames->resizeToContents();
        const QSettings store;
        if (view->horizontalHeader()->restoreState(store.value(productTableKey).toByteArray()))
            m_productNames->setDragged(store.value(productNameKey).toBool());
        m_productNames->fit();
    }
    view->setColumnHidden(1, true);
    // A price that is cut off is a wrong price.
    for (const int column : {priceColumn, stockColumn}) {
        const int before = view->columnWidth(column);
        view->resizeColumnToContents(column);
        view->setColumnWidth(column, qMax(before, view->columnWidth(column)));
    }
    m_productNames->fit();
    place.restore();
}

void IncomeInvoiceWindow::fillFilters()
{
    QList<SqlRow> rows;
    const auto fill = [](QComboBox *box, const QString &all, const QList<Choice> &choices) {
        const QVariant chosen = box->currentData();
        box->clear();
        box->addItem(all);
        for (const auto &[id, name] : choices)
            box->addItem(name, id);
        box->setCurrentIndex(chosen.isValid() ? qMax(0, box->findData(chosen)) : 0);
        // The open list may be wider than its box, so that long names can be read.
        const QAbstractItemView *list = box->view();
        box->view()->setMinimumWidth(
            qMin(list->sizeHintForColumn(0) + list->verticalScrollBar()->sizeHint().width(),
                 box->screen()->availableGeometry().width() / 2));
    };
    if (QueryRows(this, groupsQuery(), rows))
        fill(m_ui->groupfilterComboBox, tr("Все группы"), groupChoices(rows));
    if (QueryRows(this, QStringLiteral("SELECT id,name FROM brands ORDER BY name;"), rows)) {
        QList<Choice> brands;
        for (const SqlRow &row : std::as_const(rows))
            brands += {row.at(0).toULongLong(), row.at(1).toString()};
        fill(m_ui->brandfilterComboBox, tr("Все производители"), brands);
    }
}

void IncomeInvoiceWindow::showScan(const QString &text, bool found)
{
    m_scanLabel->setText(text);
    m_scanLabel->setToolTip(QStringLiteral("<qt>") + text.toHtmlEscaped() +
                            QStringLiteral("</qt>"));
    QPalette colours = palette();
    if (!found)
        colours.setColor(QPalette::WindowText, warningTextColor(colours));
    m_scanLabel->setPalette(colours);
}
