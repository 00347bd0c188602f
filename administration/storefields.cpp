#include "administration/storefields.h"

#include "ui_storefields.h"

#include "widgets/fieldvalue.h"

#include <QFileDialog>

StoreFields::StoreFields(QWidget *parent)
    : QWidget(parent),
      m_ui(std::make_unique<Ui::StoreFields>())
{
    m_ui->setupUi(this);
    m_ui->storeTypeComboBox->addItem(tr("В папке на этом компьютере"), QStringLiteral("local"));
    m_ui->storeTypeComboBox->addItem(tr("На сервере WebDAV"), QStringLiteral("webdav"));
    keepFromWheel(m_ui->storeTypeComboBox);
    connect(m_ui->storeTypeComboBox, &QComboBox::currentIndexChanged, this,
            &StoreFields::fitToType);
    connect(m_ui->storeTestPushButton, &QPushButton::clicked, this, &StoreFields::trialWanted);
    setFocusProxy(m_ui->storeTypeComboBox);
}

StoreFields::~StoreFields() = default;

void StoreFields::setOwner(Owner owner)
{
    m_owner = owner;
    const QString prefix =
        owner == Owner::Own ? QStringLiteral("images") : QStringLiteral("friendImages");
    const QList<QWidget *> children = findChildren<QWidget *>();
    for (QWidget *child : children) {
        if (const QString name = child->objectName(); name.startsWith(QLatin1String("store")))
            child->setObjectName(prefix + name.mid(5));
    }
    if (owner == Owner::Reference)
        m_ui->storeTypeComboBox->insertItem(0, tr("Там же, где наши"), QString());
}

QMap<SettingsKey, QWidget *> StoreFields::fields() const
{
    if (m_owner == Owner::Own)
        return {{SettingsKey::ImagesStoreType, m_ui->storeTypeComboBox},
                {SettingsKey::ImagesStorePath, m_ui->storePathLineEdit},
                {SettingsKey::ImagesStoreHost, m_ui->storeHostLineEdit},
                {SettingsKey::ImagesStorePort, m_ui->storePortLineEdit},
                {SettingsKey::ImagesStoreLogin, m_ui->storeLoginLineEdit},
                {SettingsKey::ImagesStorePassword, m_ui->storePasswordLineEdit}};
    return {{SettingsKey::FriendImagesStoreType, m_ui->storeTypeComboBox},
            {SettingsKey::FriendImagesStorePath, m_ui->storePathLineEdit},
            {SettingsKey::FriendImagesStoreHost, m_ui->storeHostLineEdit},
            {SettingsKey::FriendImagesStorePort, m_ui->storePortLineEdit},
            {SettingsKey::FriendImagesStoreLogin, m_ui->storeLoginLineEdit},
            {SettingsKey::FriendImagesStorePassword, m_ui->storePasswordLineEdit}};
}

QLabel *StoreFields::resultLabel() const
{
    return m_ui->storeResultLabel;
}

void StoreFields::fitToType()
{
    const QString type = m_ui->storeTypeComboBox->currentData().toString();
    const bool isServer = type == QLatin1String("webdav");
    const bool isWithOurs = m_owner == Owner::Reference && type.isEmpty();
    for (QWidget *field : {m_ui->storeHostLineEdit, m_ui->storePortLineEdit,
                           m_ui->storeLoginLineEdit, m_ui->storePasswordLineEdit})
        m_ui->storeLayout->setRowVisible(field, isServer);
    m_ui->storeLayout->setRowVisible(m_ui->storePathLayout, !isWithOurs);
    m_ui->storePathBrowsePushButton->setVisible(!isWithOurs && !isServer);
    m_ui->storePathLabel->setText(isServer ? tr("Пап&ка на сервере:") : tr("Пап&ка:"));
    m_ui->storePathLineEdit->setPlaceholderText(isServer ? QString()
                                                         : tr("images в папке настроек программы"));
    m_ui->storeResultLabel->clear();
}

void StoreFields::on_storePathBrowsePushButton_clicked()
{
    const QString path = QFileDialog::getExistingDirectory(this, tr("Папка изображений"),
                                                           m_ui->storePathLineEdit->text());
    if (!path.isEmpty())
        m_ui->storePathLineEdit->setText(path);
}
