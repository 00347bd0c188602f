#include "income/incomeinvoicewindow.h"
#include "ui_incomeinvoicewindow.h"

#include "app/logging.h"
#include "app/messages.h"
#include "app/settings.h"
#include "catalogue/currenciesdialog.h"
#include "db/money.h"
#include "db/session.h"
#include "db/transaction.h"
#include "income/codefieldguard.h"
#include "income/codelookup.h"
#include "income/colorsqlquerymodel.h"
#include "income/costdialog.h"
#include "income/linedeletion.h"
#include "income/manual.h"
#include "income/productlist.h"
#include "income/quantityrestdialog.h"
#include "income/receiptline.h"
#include "income/receiptlist.h"
#include "income/receiptprices.h"
#include "login/euladialog.h"
#include "login/selectconnectiondialog.h"
#include "sms/sendsmsdialog.h"
#include "widgets/colors.h"
#include "widgets/progressdialog.h"
#include "widgets/sound.h"
#include "widgets/tableplace.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDebug>
#include <QLabel>
#include <QMenu>
#include <QScopeGuard>
#include <QSettings>

// Outside of any namespace, as the macro wants it.
static void initializeImages()
{
    Q_INIT_RESOURCE(images);
}

namespace {

constexpr int timerPeriodMs = 1000;
constexpr int filterDelayMs = 150; ///< typing goes on before the list is read again
constexpr int shortestBarcode = 8; ///< digits
constexpr int maxTimerRest = 30;   ///< seconds between two looks for a lost server

constexpr int nameColumn = 3;      ///< in both tables
constexpr int leastNameSigns = 20; ///< that must stay legible of a name

/// Takes from the column of names what the table lacks to show all its columns up to the last one
/// that matters.
void fitNames(QTableView *view, int lastColumn)
{
    const QHeaderView *header = view->horizontalHeader();
    const int end = header->sectionPosition(lastColumn) + header->sectionSize(lastColumn);
    const int missing = end - view->viewport()->width();
    const int least = view->fontMetrics().averageCharWidth() * leastNameSigns;
    if (missing > 0)
        view->setColumnWidth(nameColumn,
                             qMin(view->columnWidth(nameColumn),
                                  qMax(least, view->columnWidth(nameColumn) - missing)));
}

const QString geometryKey = QStringLiteral("incomegeometry");
const QString stateKey = QStringLiteral("incomestate");
const QString splitterKey = QStringLiteral("income_splitter_state");
const QString productTableKey = QStringLiteral("income_warehouse_table_state");

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
    guardCodeField();
    setUpStatusBar();
    createContextActions();
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
    setWindowTitle(title +
                   tr(" - %1 - %2").arg(dialog.connectionName(), dialog.friendConnectionName()));
    connectFriendDatabase();
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
        view->horizontalHeader()->setMaximumSectionSize(520);
        // Measuring all rows of a long list for the widths would make it slow.
        view->horizontalHeader()->setResizeContentsPrecision(100);
    }
}

void IncomeInvoiceWindow::guardCodeField()
{
    m_codeField =
        new CodeFieldGuard(m_ui->codeLineEdit, m_ui->multiplierSpinBox, m_ui->invoicePage);
    connect(m_codeField, &CodeFieldGuard::strayScan, this,
            &IncomeInvoiceWindow::on_codeLineEdit_returnPressed);
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
    m_ui->statusbar->addPermanentWidget(m_countLabel);
    m_ui->statusbar->addPermanentWidget(m_connectionLabel);
}

void IncomeInvoiceWindow::createContextActions()
{
    m_changeCostAction = new QAction(tr("Изменить цену"), this);
    m_changeCostAction->setObjectName(QStringLiteral("changeCostAction"));
    connect(m_changeCostAction, &QAction::triggered, this,
            &IncomeInvoiceWindow::On_changeCostAction_triggered);
    m_editLineAction = new QAction(tr("Изменить позицию"), this);
    m_editLineAction->setObjectName(QStringLiteral("editLineAction"));
    connect(m_editLineAction, &QAction::triggered, this,
            &IncomeInvoiceWindow::On_editLineAction_triggered);
    const QList<QPair<QString, QString>> later = {
        {QStringLiteral("addToLabelsAction"), tr("Добавить в этикетки")},
        {QStringLiteral("changeGroupAction"), tr("Изменить группу")}};
    for (const auto &[name, text] : later) {
        auto *action = new QAction(text, this);
        action->setObjectName(name);
        action->setEnabled(false);
        m_laterProductActions += action;
    }
}

void IncomeInvoiceWindow::restoreWindowState()
{
    const QSettings store;
    restoreGeometry(store.value(geometryKey).toByteArray());
    restoreState(store.value(stateKey).toByteArray());
    if (!m_ui->splitter->restoreState(store.value(splitterKey).toByteArray()))
        m_ui->splitter->setSizes({width() * 2 / 5, width() * 3 / 5});
}

void IncomeInvoiceWindow::saveWindowState() const
{
    QSettings store;
    store.setValue(geometryKey, saveGeometry());
    store.setValue(stateKey, saveState());
    store.setValue(splitterKey, m_ui->splitter->saveState());
    if (m_productColumnsSized)
        store.setValue(productTableKey, m_ui->warehouseTableView->horizontalHeader()->saveState());
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

void IncomeInvoiceWindow::fitReceiptNames()
{
    // When a line was added matters least.
    if (isVisible() && m_receipt->columnCount() > 1)
        fitNames(m_ui->incomeinvoiceTableView, m_receipt->columnCount() - 2);
}

void IncomeInvoiceWindow::fitProductNames()
{
    // Widths that the user has set are left alone.
    if (isVisible() && m_productColumnsSized && !m_productColumnsKept)
        fitNames(m_ui->warehouseTableView, m_products->columnCount() - 1);
}

void IncomeInvoiceWindow::showEvent(QShowEvent *event)
{
    QMainWindow::showEvent(event);
    // Only now the tables know their room.
    QMetaObject::invokeMethod(
        this,
        [this] {
            fitReceiptNames();
            fitProductNames();
        },
        Qt::QueuedConnection);
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
    if (askQuestion(this, tr("Вы действительно хотите удалить из прихода выделенные позиции?"),
                    {tr("Да"), tr("Нет")}, 1, 1) != 0)
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
    const QString text = m_ui->codeLineEdit->text().trimmed();
    CodeResult found = lookUpCode(this, text);
    if (found.kind == CodeKind::NotFound) {
        // Heard and seen before any question about the reference database.
        playSound(Sound::NotFound);
        showScan(tr("Не найдено: %1").arg(text), false);
        found = lookUpReferenceCode(this, text);
    }
    switch (found.kind) {
    case CodeKind::Nothing:
        if (!text.isEmpty()) {
            playSound(Sound::NotFound);
            showScan(tr("Не номер наименования и не штрих-код: %1").arg(text), false);
        }
        break;
    case CodeKind::Product:
        addProduct(found.wareid, found.packQuantity);
        break;
    case CodeKind::NotFound:
        break;
    case CodeKind::Failed:
        playSound(Sound::NotFound);
        showScan(tr("Ошибка базы данных при поиске кода %1").arg(text), false);
        break;
    }
    m_codeField->take();
}

void IncomeInvoiceWindow::addProduct(qulonglong wareId, double packQuantity)
{
    const bool accepted =
        enterLine({.wareid = wareId,
                   .addedQuantity = packQuantity * m_ui->multiplierSpinBox->value(),
                   .startInPrice = m_ui->incostCheckBox->isChecked()});
    if (accepted && !m_ui->lockPushButton->isChecked())
        m_ui->multiplierSpinBox->setValue(1);
}

bool IncomeInvoiceWindow::enterLine(const ReceiptRequest &request)
{
    const CommandScope command;
    QuantityRestDialog dialog(request, this);
    if (dialog.loadState() == LoadState::Loaded) {
        playSound(Sound::Found);
        showScan(tr("%1 %2").arg(dialog.product().article, dialog.product().name).trimmed(), true);
    } else {
        playSound(Sound::NotFound);
    }
    const bool accepted = dialog.exec() == QDialog::Accepted;
    if (accepted) {
        showScan(tr("%1 %2, в приходе: %3 %4")
                     .arg(dialog.product().article, dialog.product().name,
                          formatQuantity(dialog.acceptedQuantity()), dialog.product().unit)
                     .trimmed(),
                 true);
    } else if (dialog.loadState() == LoadState::NotFound) {
        showScan(tr("Наименование %1 не найдено").arg(request.wareid), false);
    }
    refreshReceipt();
    m_codeField->take();
    return accepted;
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
    m_codeField->take();
}

void IncomeInvoiceWindow::on_brandfilterComboBox_activated(int)
{
    refreshProducts();
    m_codeField->take();
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
        addProduct(wareId, 1);
}

void IncomeInvoiceWindow::on_incomeinvoiceTableView_doubleClicked(const QModelIndex &index)
{
    if (!index.isValid())
        return;
    enterLine({.wareid = m_receipt->wareId(index.row()),
               .lineId = m_receipt->lineId(index.row()),
               .editLine = true,
               .startInPrice = m_ui->incostCheckBox->isChecked()});
}

void IncomeInvoiceWindow::on_warehouseTableView_customContextMenuRequested(const QPoint &position)
{
    QMenu menu(this);
    const bool selected = !selectedProductIds().isEmpty();
    m_changeCostAction->setEnabled(selected);
    menu.addAction(m_ui->copyAction);
    menu.addSeparator();
    menu.addAction(m_changeCostAction);
    for (QAction *action : std::as_const(m_laterProductActions))
        menu.addAction(action);
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
    if (dialog.exec() == QDialog::Accepted)
        refreshProducts();
}

void IncomeInvoiceWindow::On_editLineAction_triggered()
{
    on_incomeinvoiceTableView_doubleClicked(m_ui->incomeinvoiceTableView->currentIndex());
}

void IncomeInvoiceWindow::on_applyIncomeInvoicePushButton_clicked()
{
    const bool hadLines = m_receipt->rowCount() > 0;
    BoxRequest request;
    request.text = tr("<h3>Провести накладную?</h3><p>Будут обновлены: остаток, приходная цена, "
                      "расходная цена. Выберите способ оплаты товара.</p>");
    request.buttons = {tr("Провести (наличными)"), tr("Провести (безналичными)"), tr("Отмена")};
    request.defaultButton = 2;
    request.escapeButton = 2;
    request.html = true;
    const int choice = askQuestion(this, request);
    if (choice == 2)
        return;
    const CommandScope command;
    const PostingResult result =
        postReceipt(choice == 0 ? PaymentType::Cash : PaymentType::Cashless);
    if (hadLines && result.outcome == PostingOutcome::EmptyList)
        showScan(tr("Приход уже пуст: его провели или удалили на другом рабочем месте"), false);
    refreshAll();
    m_codeField->take();
}

PostingResult IncomeInvoiceWindow::postReceipt(PaymentType paymentType)
{
    m_busy = true;
    const auto free = qScopeGuard([this] { m_busy = false; });
    std::unique_ptr<ProgressDialog> progress;
    SmsRun messages;
    PostingCallbacks callbacks;
    callbacks.started = [&](int lines) {
        progress = std::make_unique<ProgressDialog>(tr("Перемещение на склад..."), lines, this);
    };
    callbacks.progress = [&](int done) {
        progress->advance(done);
    };
    callbacks.sendSms = [&](const QString &phone, const QString &text) {
        return sendSms(progress.get(), phone, text, &messages);
    };
    PostingResult result = ReceiptPosting(this, mainConnection).post(paymentType, callbacks);
    if (progress)
        progress->setValue(progress->maximum());
    progress.reset();
    m_checkpointDue = true;

    if (result.outcome == PostingOutcome::Posted) {
        showScan(tr("Накладная № %1 проведена, строк: %2, приходная сумма: %3")
                     .arg(QString::number(result.reportId), QString::number(result.lines),
                          formatMoney(result.total)),
                 true);
        if (!result.message.isEmpty())
            showInformation(this, result.message);
    } else if (!result.message.isEmpty()) {
        showWarning(this, result.message);
    }
    messages.refused.removeDuplicates();
    if (!messages.refused.isEmpty())
        showInformation(this, shortened(messages.refused).join(u'\n'));
    return result;
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
    view->resizeColumnsToContents();
    view->setColumnWidth(1, 0);
    fitReceiptNames();
    place.restore();
    showTotals();
}

void IncomeInvoiceWindow::showTotals()
{
    m_ui->in_totalLabel->setText(tr("Приходный итог: ") + formatMoney(m_receipt->purchaseTotal()));
    m_ui->totalLabel->setText(tr("Расходный итог: ") + formatMoney(m_receipt->sellingTotal()));
    m_countLabel->setText(
        tr("Строк: %1, единиц: %2")
            .arg(QString::number(m_receipt->rowCount()), formatQuantity(m_receipt->unitCount())));
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
        view->resizeColumnsToContents();
        view->setColumnHidden(1, true);
        m_productColumnsKept = view->horizontalHeader()->restoreState(
            QSettings().value(productTableKey).toByteArray());
        fitProductNames();
    }
    view->setColumnHidden(1, true);
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
    };
    if (QueryRows(this,
                  QStringLiteral("SELECT id, parent, name FROM `groups` ORDER BY parent, "
                                 "name;"),
                  rows))
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
