#include "catalogue/codedialog.h"

#include "ui_codedialog.h"

#include "app/messages.h"
#include "catalogue/barcode.h"
#include "catalogue/codesearch.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "widgets/dialogbuttons.h"
#include "widgets/dialogplace.h"
#include "widgets/plaintext.h"

#include <QKeyEvent>

#include <algorithm>
#include <utility>

namespace {

constexpr double largestPackQuantity = 999999;
const QString longestUsualCode = QStringLiteral("00000000000000"); ///< 14 digits, a box of goods

} // namespace

CodeDialog::CodeDialog(qulonglong id, qulonglong wareid, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::CodeDialog>()),
      m_id(id),
      m_wareid(wareid)
{
    m_ui->setupUi(this);
    m_ui->codeLineEdit->installEventFilter(this);
    showWholeCodes();
    if (m_id == 0) {
        setWindowTitle(tr("Новый штрих-код"));
    } else {
        setWindowTitle(tr("Редактирование штрих-кода"));
        if (!load()) {
            showWarning(this, tr("Ошибка получения свойств штрих-кода"));
            // With empty fields it could only spoil the row.
            QMetaObject::invokeMethod(this, &QDialog::reject, Qt::QueuedConnection);
        }
    }
    showProduct();
    m_initial = entered();
    keepDialogSize(this);
    // Room for the lines of a long name.
    const int fittingWidth = std::max(width(), minimumSizeHint().width());
    resize(fittingWidth, std::max(height(), layout()->heightForWidth(fittingWidth)));
}

CodeDialog::~CodeDialog() = default;

bool CodeDialog::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_ui->codeLineEdit && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            // A scanner ends its code with Return: that must not save before the user has seen it.
            m_ui->packquantityDoubleSpinBox->setFocus();
            m_ui->packquantityDoubleSpinBox->selectAll();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

/// Makes the code field wide enough for any usual code in the font of the settings.
void CodeDialog::showWholeCodes()
{
    QLineEdit *field = m_ui->codeLineEdit;
    field->setMinimumWidth(field->minimumSizeHint().width() +
                           field->fontMetrics().horizontalAdvance(longestUsualCode));
}

qulonglong CodeDialog::id() const
{
    return m_id;
}

void CodeDialog::takeScan(const QString &code)
{
    const QString scanned = plainCode(cleanCode(code));
    const QString former = m_ui->codeLineEdit->text().trimmed();
    if (m_id == 0 && !former.isEmpty() && former != scanned && !keepFormer(former))
        return;
    m_scanned = scanned;
    m_ui->codeLineEdit->setText(scanned);
    m_ui->packquantityDoubleSpinBox->setFocus();
    m_ui->packquantityDoubleSpinBox->selectAll();
}

/// Saves the code in the fields before the next one takes its place. Whether that may be.
bool CodeDialog::keepFormer(const QString &former)
{
    if (former != m_scanned) {
        const int answer = askQuestion(this, tr("Штрих-код %1 ещё не записан.").arg(former),
                                       {tr("Записать"), tr("Заменить"), tr("Отмена")}, 0, 2);
        if (answer != 0)
            return answer == 1;
    }
    if (!save())
        return false;
    m_writtenId = std::exchange(m_id, 0);
    m_ui->packquantityDoubleSpinBox->setExact(1);
    return true;
}

QStringList CodeDialog::entered() const
{
    return {m_ui->codeLineEdit->text(), m_ui->packquantityDoubleSpinBox->text(),
            m_ui->madeinLineEdit->text()};
}

void CodeDialog::reject()
{
    if (!isVisible() || entered() == m_initial || mayLoseInput(this))
        finish();
}

/// Without the code in the fields.
void CodeDialog::finish()
{
    if (m_writtenId == 0) {
        QDialog::reject();
        return;
    }
    m_id = m_writtenId;
    accept();
}

bool CodeDialog::load()
{
    QList<SqlRow> rows;
    if (!QueryRows(this,
                   "SELECT wareid, code, packquantity, madein FROM codes WHERE id='" +
                       sql::id(m_id) + "';",
                   rows) ||
        rows.isEmpty())
        return false;
    const SqlRow &row = rows.first();
    m_wareid = row.at(0).toULongLong();
    m_ui->codeLineEdit->setText(row.at(1).toString());
    m_ui->packquantityDoubleSpinBox->setExact(row.at(2).toDouble());
    m_ui->madeinLineEdit->setText(row.at(3).toString());
    return true;
}

void CodeDialog::showProduct()
{
    const QString name =
        m_wareid == 0
            ? QString()
            : QueryValue(this, "SELECT name FROM warehouse WHERE id='" + sql::id(m_wareid) + "';")
                  .toString();
    m_ui->nameLabel->setText(breakable(name));
    m_ui->nameLabel->setToolTip(plainToolTip(name));
    m_ui->nameLabel->setVisible(!name.isEmpty());
}

void CodeDialog::on_generateCodeButton_clicked()
{
    QString code;
    if (!findNextInternalCode(this, &code))
        return;
    if (code.isEmpty()) {
        showWarning(this, tr("Внутренние штрих-коды, начинающиеся с 2, закончились."));
        return;
    }
    m_ui->codeLineEdit->setText(code);
}

void CodeDialog::on_okPushButton_clicked()
{
    if (save())
        accept();
}

/// Who presses it means it.
void CodeDialog::on_cancelPushButton_clicked()
{
    finish();
}

bool CodeDialog::save()
{
    const QString code = m_ui->codeLineEdit->text().trimmed();
    if (code.isEmpty()) {
        showInformation(this, tr("Пожалуйста, введите штрих-код."));
        m_ui->codeLineEdit->setFocus();
        return false;
    }
    NumberSpinBox *packQuantity = m_ui->packquantityDoubleSpinBox;
    // The field takes what a scanner fires into it as a whole, so that it can be told from a
    // number.
    const bool isMistaken =
        packQuantity->isChanged() && packQuantity->exact() > largestPackQuantity;
    if (!packQuantity->hasAcceptableInput() || packQuantity->exact() <= 0 || isMistaken) {
        showInformation(this, tr("Пожалуйста, введите количество в упаковке."));
        packQuantity->setFocus();
        packQuantity->selectAll();
        return false;
    }
    // What a cancelled card of this user has left belongs to nobody.
    const QString others = m_wareid == 0 ? QString()
                                         : " AND NOT (wareid=0 AND userid=" +
                                               sql::quotedId(Session::instance().user().id) + u')';
    QList<SqlRow> holders;
    if (!QueryRows(this,
                   "SELECT wareid FROM codes WHERE code=" + sql::text(code) + " AND id!='" +
                       sql::id(m_id) + u'\'' + others + u';',
                   holders))
        return false;
    if (!holders.isEmpty()) {
        showWarning(this, tr("Штрих-код %1 уже присвоен наименованию %2.")
                              .arg(code, holders.first().first().toString()));
        return false;
    }
    return mayDo(this, Command::EditProducts) && (m_id == 0 ? insertRow() : updateRow());
}

bool CodeDialog::insertRow()
{
    if (!QueryExec(this, "INSERT INTO codes(wareid,code,packquantity,madein,userid,timestamp) "
                         "VALUES('" +
                             sql::id(m_wareid) + "'," +
                             sql::text(m_ui->codeLineEdit->text().trimmed()) + ",'" +
                             sql::number(m_ui->packquantityDoubleSpinBox->exact()) + "'," +
                             sql::text(m_ui->madeinLineEdit->text()) + ",'" +
                             sql::id(Session::instance().user().id) + "'," + sql::now() + ");"))
        return false;
    m_id = QueryValue(this, "SELECT MAX(id) FROM codes;").toULongLong();
    return true;
}

bool CodeDialog::updateRow()
{
    return QueryExec(
        this, "UPDATE codes SET code=" + sql::text(m_ui->codeLineEdit->text().trimmed()) +
                  ", packquantity='" + sql::number(m_ui->packquantityDoubleSpinBox->exact()) +
                  "', madein=" + sql::text(m_ui->madeinLineEdit->text()) + " WHERE id='" +
                  sql::id(m_id) + "';");
}
