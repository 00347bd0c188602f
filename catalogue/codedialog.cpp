#include "catalogue/codedialog.h"

#include "ui_codedialog.h"

#include "app/messages.h"
#include "catalogue/barcode.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

CodeDialog::CodeDialog(qulonglong id, qulonglong wareid, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::CodeDialog>()),
      m_id(id),
      m_wareid(wareid)
{
    m_ui->setupUi(this);
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
}

CodeDialog::~CodeDialog() = default;

qulonglong CodeDialog::id() const
{
    return m_id;
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
    m_ui->nameLabel->setText(name);
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

void CodeDialog::on_cancelPushButton_clicked()
{
    reject();
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
    if (!packQuantity->hasAcceptableInput() || packQuantity->exact() <= 0) {
        showInformation(this, tr("Пожалуйста, введите количество в упаковке."));
        packQuantity->setFocus();
        packQuantity->selectAll();
        return false;
    }
    QList<SqlRow> holders;
    if (!QueryRows(this,
                   "SELECT wareid FROM codes WHERE code=" + sql::text(code) + " AND id!='" +
                       sql::id(m_id) + "';",
                   holders))
        return false;
    if (!holders.isEmpty()) {
        showWarning(this, tr("Штрих-код %1 уже присвоен наименованию %2.")
                              .arg(code, holders.first().first().toString()));
        return false;
    }
    return m_id == 0 ? insertRow() : updateRow();
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
