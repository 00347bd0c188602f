#include "catalogue/currencydialog.h"

#include "ui_currencydialog.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/sqltext.h"

CurrencyDialog::CurrencyDialog(qulonglong id, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::CurrencyDialog>()),
      m_id(id)
{
    m_ui->setupUi(this);
    if (m_id == 0) {
        setWindowTitle(tr("Добавление валюты"));
        return;
    }
    setWindowTitle(tr("Редактирование валюты %1").arg(m_id));
    if (!load())
        QMetaObject::invokeMethod(this, &QDialog::reject, Qt::QueuedConnection);
}

CurrencyDialog::~CurrencyDialog() = default;

bool CurrencyDialog::load()
{
    QList<SqlRow> rows;
    if (!QueryRows(this,
                   "SELECT c_code, symbol, value FROM currencies WHERE id='" + sql::id(m_id) + "';",
                   rows) ||
        rows.isEmpty())
        return false;
    const SqlRow &row = rows.first();
    m_ui->cCodeLineEdit->setText(row.at(0).toString());
    m_ui->symbolLineEdit->setText(row.at(1).toString());
    m_ui->valueDoubleSpinBox->setExact(row.at(2).toDouble());
    return true;
}

void CurrencyDialog::on_savePushButton_clicked()
{
    if (save())
        accept();
}

void CurrencyDialog::on_cancelPushButton_clicked()
{
    reject();
}

bool CurrencyDialog::save()
{
    if (!m_ui->valueDoubleSpinBox->hasAcceptableInput()) {
        showInformation(this, tr("Пожалуйста, введите курс валюты больше нуля, не более %1 знаков "
                                 "после запятой.")
                                  .arg(m_ui->valueDoubleSpinBox->decimals()));
        m_ui->valueDoubleSpinBox->setFocus();
        m_ui->valueDoubleSpinBox->selectAll();
        return false;
    }
    const QString code = sql::text(m_ui->cCodeLineEdit->text());
    const QString symbol = sql::text(m_ui->symbolLineEdit->text());
    const QString value = sql::number(m_ui->valueDoubleSpinBox->exact());
    if (m_id == 0)
        return QueryExec(this, "INSERT INTO currencies(c_code,symbol,value) VALUES(" + code + ", " +
                                   symbol + ", '" + value + "');");
    return QueryExec(this, "UPDATE currencies SET c_code=" + code + ", symbol=" + symbol +
                               ", value='" + value + "' WHERE id='" + sql::id(m_id) + "';");
}
