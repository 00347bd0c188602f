#include "catalogue/waredialog.h"

#include "ui_waredialog.h"

#include "app/messages.h"
#include "catalogue/dictionaries.h"
#include "catalogue/pricerules.h"
#include "catalogue/productlist.h"
#include "catalogue/productstore.h"
#include "catalogue/stagedrows.h"
#include "catalogue/textdialog.h"
#include "catalogue/waregallery.h"
#include "catalogue/waresublist.h"
#include "catalogue/waresublists.h"
#include "db/money.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "widgets/colors.h"
#include "widgets/dialogbuttons.h"
#include "widgets/dialogplace.h"
#include "widgets/plaintext.h"

#include <QKeyEvent>
#include <QScopedValueRollback>

#include <utility>

namespace {

constexpr int moneyDecimals = 2;
constexpr int noUnitDecimals = 3; ///< without a unit anything weighed fits
constexpr int mostSections = 16;  ///< of a till
constexpr int mostFavorites = 9;
constexpr qsizetype longestShown = 60; ///< signs of a value in a question

using Choices = QList<QPair<QVariant, QString>>;

/// 0, which stands for none, and the numbers behind it.
Choices numbered(const QString &none, const QString &text, int most)
{
    Choices choices;
    if (!none.isEmpty())
        choices += {0, none};
    for (int number = 1; number <= most; ++number)
        choices += {number, text.arg(number)};
    return choices;
}

QString mainCurrencyCode()
{
    for (const Currency &currency : Session::instance().currencies()) {
        if (currency.value == 1)
            return currency.code;
    }
    return {};
}

QString shortText(const QString &text)
{
    const QString line = text.simplified();
    return line.size() > longestShown ? line.left(longestShown) + u'…' : line;
}

} // namespace

WareDialog::WareDialog(qulonglong id, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::WareDialog>())
{
    m_ui->setupUi(this);
    describeFields();
    fillChoices();
    load(id);
    addLists(id);
    for (QPushButton *button : {m_ui->groupPushButton, m_ui->brandPushButton, m_ui->unitPushButton,
                                m_ui->descriptionPushButton})
        button->setFixedWidth(button->sizeHint().height() +
                              button->fontMetrics().averageCharWidth());
    pressByCtrlReturn(this, m_ui->okPushButton);
    m_ui->nameLineEdit->setFocus();
    keepDialogSize(this);
}

WareDialog::~WareDialog() = default;

qulonglong WareDialog::id() const
{
    return m_save.id();
}

void WareDialog::describeFields()
{
    const QPair<const char *, QWidget *> fields[] = {
        {"name", m_ui->nameLineEdit},
        {"article", m_ui->articleLineEdit},
        {"wuid", m_ui->wuidLineEdit},
        {"keywords", m_ui->keywordsLineEdit},
        {"groupid", m_ui->groupComboBox},
        {"brandid", m_ui->brandComboBox},
        {"unitid", m_ui->unitComboBox},
        {"type", m_ui->typeComboBox},
        {"section", m_ui->sectionComboBox},
        {"favoritid", m_ui->favoritComboBox},
        {"location", m_ui->locationLineEdit},
        {"incost", m_ui->incostDoubleSpinBox},
        {"currency", m_ui->currencyComboBox},
        {"inoutratio", m_ui->inoutratioDoubleSpinBox},
        {"outcost", m_ui->outcostDoubleSpinBox},
        {"enabled", m_ui->enabledCheckBox},
        {"marking", m_ui->markingCheckBox},
        {"width", m_ui->widthDoubleSpinBox},
        {"height", m_ui->heightDoubleSpinBox},
        {"depth", m_ui->depthDoubleSpinBox},
        {"weight", m_ui->weightDoubleSpinBox},
        {"multiplicity", m_ui->multiplicityDoubleSpinBox},
        {"orderquantity", m_ui->orderquantityDoubleSpinBox},
        {"autoorder", m_ui->autoorderDoubleSpinBox},
        {"description", m_ui->descriptionPlainTextEdit},
    };
    for (const auto &[column, field] : fields)
        m_fields.add(QLatin1String(column), field);
    for (QComboBox *box : {m_ui->groupComboBox, m_ui->brandComboBox})
        connect(box, &QComboBox::currentTextChanged, box,
                [box](const QString &text) { box->setToolTip(plainToolTip(text)); });
    m_ui->incostDoubleSpinBox->setLeastDecimals(moneyDecimals);
    m_ui->outcostDoubleSpinBox->setLeastDecimals(moneyDecimals);
}

void WareDialog::fillChoices()
{
    fillGroups();
    fillBrands();
    fillUnits();
    fillCurrencies();
    WareFields::fillChoice(m_ui->typeComboBox, {{0, tr("Товар")}, {1, tr("Услуга")}});
    WareFields::fillChoice(m_ui->sectionComboBox, numbered({}, tr("Секция %1"), mostSections));
    WareFields::fillChoice(m_ui->favoritComboBox,
                           numbered(tr("нет"), tr("Список %1"), mostFavorites));
}

void WareDialog::fillGroups()
{
    Choices choices = {{0, tr("Без группы")}};
    QList<SqlRow> rows;
    if (QueryRows(this, groupsQuery(), rows)) {
        const QList<Choice> groups = groupChoices(rows);
        for (const auto &[id, text] : groups)
            choices += {id, text};
    }
    WareFields::fillChoice(m_ui->groupComboBox, choices);
}

void WareDialog::fillBrands()
{
    Choices choices = {{0, tr("не указан")}};
    QList<SqlRow> rows;
    QueryRows(this, QStringLiteral("SELECT id,name FROM brands ORDER BY name;"), rows);
    for (const SqlRow &row : std::as_const(rows))
        choices += {row.at(0), row.at(1).toString().simplified()};
    WareFields::fillChoice(m_ui->brandComboBox, choices);
}

void WareDialog::fillUnits()
{
    Choices choices = {{0, tr("не указана")}};
    QList<SqlRow> rows;
    QueryRows(this, QStringLiteral("SELECT id,name FROM units ORDER BY id;"), rows);
    for (const SqlRow &row : std::as_const(rows))
        choices += {row.at(0), row.at(1).toString().simplified()};
    WareFields::fillChoice(m_ui->unitComboBox, choices);
}

void WareDialog::fillCurrencies()
{
    Choices choices;
    Session::instance().refreshRates(this, mainConnection);
    for (const Currency &currency : Session::instance().currencies())
        choices += {currency.code, (currency.code + u' ' + currency.symbol).trimmed()};
    WareFields::fillChoice(m_ui->currencyComboBox, choices);
}

void WareDialog::load(qulonglong id)
{
    if (id == 0) {
        setWindowTitle(tr("Новое наименование"));
        prefill({});
        return;
    }
    setWindowTitle(tr("Редактирование наименования %1").arg(id));
    const LoadState state = m_save.load(this, id);
    if (state == LoadState::NotFound)
        showWarning(this, tr("Товара с номером id=%1 не существует!").arg(id));
    m_missing = state != LoadState::Loaded;
    if (m_missing)
        QMetaObject::invokeMethod(this, &QDialog::reject, Qt::QueuedConnection);
    showProduct(m_save.given());
}

void WareDialog::prefill(const Product &product)
{
    Product given = product;
    given.id = 0;
    if (given.currency.isEmpty())
        given.currency = mainCurrencyCode();
    m_save.begin(given);
    showProduct(given);
}

void WareDialog::showProduct(const Product &product)
{
    const QScopedValueRollback showing(m_showing, true);
    m_fields.show(product);
    followUnit();
    showMargin();
    m_ui->stockLabel->setText(tr("Остаток: %1").arg(formatQuantity(product.quantity)));
    m_ui->stockLabel->setVisible(m_save.id() != 0);
}

void WareDialog::addLists(qulonglong id)
{
    m_lists = makeWareSubLists(id, this, [this] { return WareSave::tidy(m_fields.entered()); });
    QWidget *former = m_ui->tabWidget;
    for (WareSubList *list : std::as_const(m_lists)) {
        m_ui->tabWidget->addTab(list, list->kind().title);
        setTabOrder(std::exchange(former, list), list);
        connect(list, &WareSubList::counted, this,
                [this, list](int rows) { showCount(list, list->kind().title, rows); });
    }
    m_gallery = new WareGallery(
        id, [this] { return WareSave::tidy(m_fields.entered()).name; }, this);
    m_ui->tabWidget->addTab(m_gallery, m_gallery->title());
    setTabOrder(former, m_gallery);
    setTabOrder(m_gallery, m_ui->okPushButton);
    connect(m_gallery, &WareGallery::counted, this,
            [this](int rows) { showCount(m_gallery, m_gallery->title(), rows); });
    connect(m_gallery, &WareGallery::settled, this, &WareDialog::followGallery);
    countRows();
}

void WareDialog::showCount(QWidget *tab, const QString &title, int rows)
{
    m_ui->tabWidget->setTabText(m_ui->tabWidget->indexOf(tab),
                                rows == 0 ? title : tr("%1 (%2)").arg(title).arg(rows));
}

/// One statement for all lists; their rows are read when they are looked at.
void WareDialog::countRows()
{
    QStringList counts;
    for (const WareSubList *list : std::as_const(m_lists))
        counts += u'(' + list->countQuery() + u')';
    counts += u'(' + m_gallery->countQuery() + u')';
    QList<SqlRow> rows;
    if (m_missing || !QueryRows(this, "SELECT " + counts.join(u',') + u';', rows) || rows.isEmpty())
        return;
    for (qsizetype i = 0; i < m_lists.size(); ++i)
        emit m_lists.at(i)->counted(rows.first().at(i).toInt());
    emit m_gallery->counted(rows.first().last().toInt());
}

void WareDialog::on_tabWidget_currentChanged(int index)
{
    const CommandScope command;
    if (auto *list = qobject_cast<WareSubList *>(m_ui->tabWidget->widget(index)))
        list->read();
    else if (m_ui->tabWidget->widget(index) == m_gallery)
        m_gallery->read();
}

void WareDialog::takeScan(const QString &code)
{
    const CommandScope command;
    WareSubList *codes = m_lists.first();
    m_ui->tabWidget->setCurrentWidget(codes);
    codes->showWritten(addScannedCode(this, id(), code));
    codes->setFocus();
}

void WareDialog::on_groupPushButton_clicked()
{
    choose(DictionaryName::Groups, m_ui->groupComboBox, &WareDialog::fillGroups);
}

void WareDialog::on_brandPushButton_clicked()
{
    choose(DictionaryName::Brands, m_ui->brandComboBox, &WareDialog::fillBrands);
}

void WareDialog::on_unitPushButton_clicked()
{
    choose(DictionaryName::Units, m_ui->unitComboBox, &WareDialog::fillUnits);
    followUnit(); // its decimals may be others
}

void WareDialog::on_descriptionPushButton_clicked()
{
    QPlainTextEdit *field = m_ui->descriptionPlainTextEdit;
    TextDialog dialog(tr("Описание"), field->toPlainText(), this);
    if (dialog.exec() != QDialog::Accepted || dialog.text() == field->toPlainText())
        return;
    field->selectAll();
    field->insertPlainText(dialog.text()); // unlike setPlainText() it can be taken back
}

/// Lets the user look into a dictionary, and offers what has become of it.
void WareDialog::choose(DictionaryName dictionary, QComboBox *box, void (WareDialog::*fill)())
{
    const CommandScope command;
    const qulonglong chosen = openDictionary(dictionary, this, box->currentData().toULongLong());
    (this->*fill)();
    if (chosen != 0)
        WareFields::choose(box, chosen);
    box->setFocus();
}

void WareDialog::on_unitComboBox_currentIndexChanged(int /*index*/)
{
    if (!m_showing)
        followUnit();
}

/// Gives the quantities the decimals of their unit.
void WareDialog::followUnit()
{
    const QVariant decimals =
        QueryValue(this, "SELECT decimals FROM units WHERE id='" +
                             sql::integer(m_ui->unitComboBox->currentData().toLongLong()) + "';");
    for (NumberSpinBox *field : {m_ui->multiplicityDoubleSpinBox, m_ui->orderquantityDoubleSpinBox,
                                 m_ui->autoorderDoubleSpinBox}) {
        if (field->hasAcceptableInput())
            field->showQuantity(field->exact(),
                                decimals.isNull() ? noUnitDecimals : decimals.toInt());
    }
}

void WareDialog::on_currencyComboBox_currentIndexChanged(int /*index*/)
{
    if (m_showing)
        return;
    const CommandScope command;
    if (Session::instance().refreshRates(this, mainConnection))
        followCoefficient();
}

void WareDialog::on_incostDoubleSpinBox_valueChanged(double /*value*/)
{
    followCoefficient();
}

void WareDialog::on_inoutratioDoubleSpinBox_valueChanged(double /*value*/)
{
    followCoefficient();
}

void WareDialog::on_outcostDoubleSpinBox_valueChanged(double /*value*/)
{
    if (m_showing)
        return;
    const QScopedValueRollback showing(m_showing, true);
    m_ui->inoutratioDoubleSpinBox->setExact(0);
    showMargin();
}

double WareDialog::costInMain() const
{
    return finiteOrZero(Session::instance().convertCurrencyToMain(
        m_ui->incostDoubleSpinBox->exact(), m_ui->currencyComboBox->currentData().toString()));
}

void WareDialog::followCoefficient()
{
    if (m_showing)
        return;
    const QScopedValueRollback showing(m_showing, true);
    const double ratio = m_ui->inoutratioDoubleSpinBox->exact();
    if (ratio > 0)
        m_ui->outcostDoubleSpinBox->showStored(sellingPrice(costInMain(), ratio));
    showMargin();
}

void WareDialog::showMargin()
{
    // The number of a field is not what stands there while that is none, or too large.
    if (!m_ui->incostDoubleSpinBox->hasAcceptableInput() ||
        !m_ui->outcostDoubleSpinBox->hasAcceptableInput()) {
        m_ui->marginLabel->clear();
        return;
    }
    const double incost = costInMain();
    const double outcost = m_ui->outcostDoubleSpinBox->exact();
    m_ui->marginLabel->setText(
        marginText(incost, outcost, Session::instance().mainCurrencySymbol()));
    QPalette colours = palette();
    if (isDoubtfulPrice(incost, outcost))
        colours.setColor(QPalette::WindowText, warningTextColor(colours));
    m_ui->marginLabel->setPalette(colours);
}

void WareDialog::on_okPushButton_clicked()
{
    const CommandScope command;
    if (!check() || !checkChoices() || !checkCodes() || !checkRates())
        return;
    if (m_gallery->isBusy()) {
        m_acceptSoon = true;
        m_ui->okPushButton->setEnabled(false);
        m_ui->tabWidget->setCurrentWidget(m_gallery);
    } else if (save()) {
        accept();
    }
}

/// Goes on where the card had to wait for the pictures that belong to it.
void WareDialog::followGallery(bool failed)
{
    m_ui->okPushButton->setEnabled(true);
    if (std::exchange(m_acceptSoon, false) && !failed)
        on_okPushButton_clicked();
}

void WareDialog::on_cancelPushButton_clicked()
{
    reject();
}

void WareDialog::reject()
{
    bool lost = !changedColumns(m_save.given(), m_fields.entered()).isEmpty();
    // Rows of a stored product are written already.
    for (const WareSubList *list : std::as_const(m_lists))
        lost = lost || (id() == 0 && list->isTouched());
    lost = lost || m_gallery->isBusy() || (id() == 0 && m_gallery->isTouched());
    if (m_acceptSoon) { // nothing is written behind the question
        m_acceptSoon = false;
        m_ui->okPushButton->setEnabled(true);
    }
    if (lost && !m_missing && !mayLoseInput(this))
        return;
    m_gallery->abandon();
    QDialog::reject();
}

void WareDialog::keyPressEvent(QKeyEvent *event)
{
    if (!passReturnOn(this, event))
        QDialog::keyPressEvent(event);
}

bool WareDialog::refuse(QWidget *field, const QString &text)
{
    showInformation(this, text);
    m_ui->tabWidget->setCurrentWidget(m_ui->mainTab);
    field->setFocus();
    if (auto *number = qobject_cast<NumberSpinBox *>(field))
        number->selectAll();
    return false;
}

bool WareDialog::check()
{
    if (m_ui->nameLineEdit->text().simplified().isEmpty())
        return refuse(m_ui->nameLineEdit, tr("Пожалуйста, введите наименование."));
    QString reason;
    NumberSpinBox *field = m_fields.findFault(reason);
    return !field || refuse(field, reason);
}

/// What was chosen here may have been deleted by another station since.
bool WareDialog::checkChoices()
{
    const struct
    {
        const char *column;
        const char *table;
        QComboBox *box;
        void (WareDialog::*fill)();
    } choices[] = {{"groupid", "`groups`", m_ui->groupComboBox, &WareDialog::fillGroups},
                   {"brandid", "brands", m_ui->brandComboBox, &WareDialog::fillBrands},
                   {"unitid", "units", m_ui->unitComboBox, &WareDialog::fillUnits}};
    const QStringList touched = changedColumns(m_save.given(), m_fields.entered());
    for (const auto &[column, table, box, fill] : choices) {
        const qlonglong id = box->currentData().toLongLong();
        if (id <= 0 || !touched.contains(QLatin1String(column)))
            continue;
        QList<SqlRow> rows;
        if (!QueryRows(this,
                       QLatin1String("SELECT id FROM ") + QLatin1String(table) + " WHERE id='" +
                           sql::integer(id) + "';",
                       rows))
            return false;
        if (!rows.isEmpty())
            continue;
        const QString text = box->currentText().simplified();
        (this->*fill)();
        return refuse(box, tr("%1: «%2» тем временем удалили на другом рабочем месте. Выберите "
                              "другое.")
                               .arg(m_fields.label(QLatin1String(column)), text));
    }
    return true;
}

/// Another station may have given a code of the new product to one of its own.
bool WareDialog::checkCodes()
{
    if (id() != 0 || checkStagedCodes(this))
        return true;
    m_ui->tabWidget->setCurrentWidget(m_lists.first());
    m_lists.first()->setFocus();
    return false;
}

/// A selling price that was computed here must be that of the present rate.
bool WareDialog::checkRates()
{
    if (m_ui->inoutratioDoubleSpinBox->exact() <= 0)
        return true;
    const QStringList touched = changedColumns(m_save.given(), m_fields.entered());
    if (!touched.contains("incost") && !touched.contains("currency") &&
        !touched.contains("inoutratio"))
        return true;
    if (!Session::instance().refreshRates(this, mainConnection))
        return false;
    const double former = m_ui->outcostDoubleSpinBox->exact();
    followCoefficient();
    return pricesEqual(former, m_ui->outcostDoubleSpinBox->exact()) ||
           refuse(m_ui->outcostDoubleSpinBox,
                  tr("Курс валюты изменился. Расходная цена теперь %1, проверьте её.")
                      .arg(m_ui->outcostDoubleSpinBox->text()));
}

bool WareDialog::save()
{
    switch (m_save.save(this, m_fields.entered())) {
    case WareSaveState::Saved:
        return true;
    case WareSaveState::Duplicate:
        showWarning(this, tr("Запись с такими же именем и артикулом уже существует под кодом %1.")
                              .arg(m_save.duplicateId()));
        m_ui->tabWidget->setCurrentWidget(m_ui->mainTab);
        m_ui->nameLineEdit->setFocus();
        return false;
    case WareSaveState::Changed:
        return askToReplace() && save();
    case WareSaveState::Gone:
        return askToAddAnew() && save();
    case WareSaveState::Failed:
        break;
    }
    return false;
}

/// Shows what another station has written meanwhile. Whether it is to be replaced; otherwise the
/// card may have taken over what the user has not changed.
bool WareDialog::askToReplace()
{
    const Product mine = m_fields.entered();
    const QStringList columns = changedColumns(m_save.seen(), m_save.now());
    QStringList changes;
    for (const QString &column : columns) {
        const auto shown = [&](const Product &product) {
            return shortText(m_fields.text(column, productValue(product, column)));
        };
        changes += tr("%1: было «%2», стало «%3», у Вас «%4»")
                       .arg(m_fields.label(column), shown(m_save.seen()), shown(m_save.now()),
                            shown(mine));
    }
    const int answer = askQuestion(
        this, {.text = tr("Наименование тем временем изменили на другом рабочем месте."),
               .note = shortened(changes).join(u'\n'),
               .buttons = {tr("Записать моё"), tr("Взять новое"), tr("Отмена")},
               .defaultButton = 2,
               .escapeButton = 2});
    if (answer == 0)
        m_save.acknowledge();
    else if (answer == 1)
        showProduct(m_save.takeOver(mine));
    return answer == 0;
}

bool WareDialog::askToAddAnew()
{
    if (askQuestion(this,
                    tr("Наименование тем временем удалили на другом рабочем месте. Записать его "
                       "как новое?"),
                    {tr("Записать"), tr("Отмена")}, 1, 1) != 0)
        return false;
    m_save.beginAnew();
    return true;
}

qulonglong createProduct(QWidget *parent, const Product &prefilled, const QString &barcode)
{
    const CommandScope command;
    if (!clearStagedRows(parent) || (!barcode.isEmpty() && !stageCode(parent, barcode)))
        return 0;
    WareDialog dialog(0, parent);
    dialog.prefill(prefilled);
    return dialog.exec() == QDialog::Accepted ? dialog.id() : 0;
}

qulonglong copyProduct(QWidget *parent, qulonglong id)
{
    const CommandScope command;
    Product product;
    switch (loadProduct(parent, id, ProductColumns::Card, product)) {
    case LoadState::NotFound:
        showWarning(parent, WareDialog::tr("Товара с номером id=%1 не существует!").arg(id));
        return 0;
    case LoadState::Failed:
        return 0;
    case LoadState::Loaded:
        break;
    }
    if (!clearStagedRows(parent) || !stageCopies(parent, id))
        return 0;
    product.wuid.clear();
    product.quantity = 0;
    WareDialog dialog(0, parent);
    dialog.prefill(product);
    return dialog.exec() == QDialog::Accepted ? dialog.id() : 0;
}

qulonglong editProduct(QWidget *parent, qulonglong id)
{
    const CommandScope command;
    WareDialog dialog(id, parent);
    return dialog.exec() == QDialog::Accepted ? dialog.id() : 0;
}
