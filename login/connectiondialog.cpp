#include "login/connectiondialog.h"

#include "app/configdir.h"
#include "app/messages.h"
#include "db/connections.h"
#include "db/engine.h"
#include "login/connectioncheck.h"
#include "login/connectionrules.h"
#include "ui_connectiondialog.h"

#include <QFileDialog>

ConnectionDialog::ConnectionDialog(const ConnectionEntry &entry, const QStringList &takenNames,
                                   QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::ConnectionDialog>()),
      m_entry(entry),
      m_takenNames(takenNames)
{
    m_ui->setupUi(this);
    m_ui->dbtypeComboBox->addItem(tr("Файл на этом компьютере (SQLite)"), QStringLiteral("sqlite"));
    m_ui->dbtypeComboBox->addItem(tr("Сервер MySQL или MariaDB"), QStringLiteral("mysql"));
    m_ui->dbtypeComboBox->addItem(tr("Сервер PostgreSQL"), QStringLiteral("postgresql"));
    // An entry of a kind that we do not know selects none.
    m_ui->dbtypeComboBox->setCurrentIndex(m_ui->dbtypeComboBox->findData(entry.dbtype));
    for (const Field &field : fields())
        field.edit->setText(entry.*field.member);
    showFittingFields();
    m_ui->nameLineEdit->setFocus();
}

ConnectionDialog::~ConnectionDialog() = default;

ConnectionEntry ConnectionDialog::entry() const
{
    ConnectionEntry entry = m_entry;
    entry.dbtype = m_ui->dbtypeComboBox->currentData().toString();
    for (const Field &field : fields())
        entry.*field.member = field.edit->text();
    return tidyConnection(entry);
}

void ConnectionDialog::on_dbtypeComboBox_currentIndexChanged(int)
{
    showFittingFields();
}

void ConnectionDialog::on_databasenameBrowsePushButton_clicked()
{
    // An existing database is chosen as well as the place for a new one.
    const QString path =
        QFileDialog::getSaveFileName(this, tr("Файл базы данных"), databaseFilePath(entry()),
                                     tr("Базы данных (*.sqlite *.db);;Все файлы (*)"), nullptr,
                                     QFileDialog::DontConfirmOverwrite);
    if (path.isEmpty())
        return;
    const QFileInfo file(path);
    m_ui->databasenameLineEdit->setText(file.absolutePath() == configDirPath() ? file.fileName()
                                                                               : path);
}

void ConnectionDialog::on_dbcacertBrowsePushButton_clicked()
{
    browseTlsFile(m_ui->dbcacertLineEdit);
}

void ConnectionDialog::on_dbclientkeyBrowsePushButton_clicked()
{
    browseTlsFile(m_ui->dbclientkeyLineEdit);
}

void ConnectionDialog::on_dbclientcertBrowsePushButton_clicked()
{
    browseTlsFile(m_ui->dbclientcertLineEdit);
}

void ConnectionDialog::on_checkPushButton_clicked()
{
    if (const std::optional<ConnectionFault> fault = connectionFault(entry())) {
        showFault(*fault);
        return;
    }
    setCursor(Qt::WaitCursor);
    checkConnection(this, entry());
    unsetCursor();
}

void ConnectionDialog::on_okPushButton_clicked()
{
    const ConnectionEntry edited = entry();
    std::optional<ConnectionFault> fault = connectionNameFault(edited, m_takenNames);
    if (!fault)
        fault = connectionFault(edited);
    if (fault)
        showFault(*fault);
    else
        accept();
}

void ConnectionDialog::on_cancelPushButton_clicked()
{
    reject();
}

QList<ConnectionDialog::Field> ConnectionDialog::fields() const
{
    return {{&ConnectionEntry::name, m_ui->nameLineEdit},
            {&ConnectionEntry::dbhostname, m_ui->dbhostnameLineEdit},
            {&ConnectionEntry::dbusername, m_ui->dbusernameLineEdit},
            {&ConnectionEntry::dbpassword, m_ui->dbpasswordLineEdit},
            {&ConnectionEntry::databasename, m_ui->databasenameLineEdit},
            {&ConnectionEntry::dbcacert, m_ui->dbcacertLineEdit},
            {&ConnectionEntry::dbclientkey, m_ui->dbclientkeyLineEdit},
            {&ConnectionEntry::dbclientcert, m_ui->dbclientcertLineEdit}};
}

void ConnectionDialog::showFittingFields()
{
    const Engine *engine = Engine::ofType(m_ui->dbtypeComboBox->currentData().toString());
    const bool isFile = engine && engine->isFile();
    const bool isServer = engine && !isFile;
    QFormLayout *form = m_ui->formLayout;
    for (QWidget *widget :
         {m_ui->dbhostnameLineEdit, m_ui->dbusernameLineEdit, m_ui->dbpasswordLineEdit})
        form->setRowVisible(widget, isServer);
    form->setRowVisible(m_ui->databasenameLayout, engine != nullptr);
    m_ui->databasenameBrowsePushButton->setVisible(isFile);
    m_ui->databasenameLabel->setText(isFile ? tr("&Файл базы:") : tr("Имя &базы:"));
    m_ui->databasenameLineEdit->setPlaceholderText(isFile ? tr("lavkor.sqlite или полный путь")
                                                          : QString());
    for (QLayout *layout :
         {m_ui->dbcacertLayout, m_ui->dbclientkeyLayout, m_ui->dbclientcertLayout})
        form->setRowVisible(layout, engine && engine->knowsTls());
    // Room that hidden rows have left goes away, the width stays as the user has drawn it.
    layout()->activate();
    resize(width(), sizeHint().height());
}

void ConnectionDialog::browseTlsFile(QLineEdit *edit)
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Файл ключа или сертификата"), edit->text(),
                                     tr("Ключи и сертификаты (*.pem *.crt *.key);;Все файлы (*)"));
    if (!path.isEmpty())
        edit->setText(path);
}

void ConnectionDialog::showFault(const ConnectionFault &fault)
{
    showWarning(this, fault.text);
    if (fault.field == &ConnectionEntry::dbtype)
        m_ui->dbtypeComboBox->setFocus();
    for (const Field &field : fields()) {
        if (field.member == fault.field) {
            field.edit->setFocus();
            field.edit->selectAll();
        }
    }
}
