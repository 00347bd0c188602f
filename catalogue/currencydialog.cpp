#include "catalogue/currencydialog.h"

#include "ui_currencydialog.h"

#include "app/messages.h"
#include "db/money.h"
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
    NumberSpinBox *field = m_ui->valueDoubleSpinBox;
    const double rate = row.at(2).toDouble();
    if (!row.at(2).isNull() && rate >= field->minimum() && rate <= field->maximum())
        field->setExact(rate);
    else // shown as it is, not as the nearest rate that could be entered
        field->showText(row.at(2).isNull() ? QString() : formatFactor(rate));
    m_shownRate = field->text();
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
    if (m_ui->cCodeLineEdit->text().trimmed().isEmpty())
        return refuse(m_ui->cCodeLineEdit, tr("Пожалуйста, введите код валюты."));
    NumberSpinBox *field = m_ui->valueDoubleSpinBox;
    const bool rateEntered = m_id == 0 || field->text() != m_shownRate;
    if (rateEntered && !field->hasAcceptableInput()) {
        return refuse(field, tr("Пожалуйста, введите курс валюты больше нуля, не более %1 знаков "
                                "после запятой.")
                                     .arg(field->decimals()) +
                                 u'\n' + field->fault());
    }
    if (rateEntered && sql::number(field->value()).toDouble() != field->value())
        return refuse(field, tr("В базе данных у курса не больше шести значащих цифр: %1.")
                                 .arg(formatFactor(sql::number(field->value()).toDouble())));
    const QString code = sql::text(m_ui->cCodeLineEdit->text());
    const QString symbol = sql::text(m_ui->symbolLineEdit->text());
    const QString value = sql::number(field->value());
    if (m_id == 0)
        return QueryExec(this, "INSERT INTO currencies(c_code,symbol,value) VALUES(" + code + ", " +
                                   symbol + ", '" + value + "');");
    // A rate that nobody has touched stays as it is stored, with all its digits.
    const QString rate = rateEntered ? ", value='" + value + u'\'' : QString();
    return QueryExec(this, "UPDATE currencies SET c_code=" + code + ", symbol=" + symbol + rate +
                               " WHERE id='" + sql::id(m_id) + "';");
}

/// Tells what is wrong with a field and leads the user there.
bool CurrencyDialog::refuse(QWidget *field, const QString &text)
{
    showInformation(this, text);
    field->setFocus();
    if (field == m_ui->valueDoubleSpinBox)
        m_ui->valueDoubleSpinBox->selectAll();
    return false;
}
