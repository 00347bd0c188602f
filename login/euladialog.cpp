#include "login/euladialog.h"

#include "ui_euladialog.h"

#include <QFile>
#include <QKeyEvent>
#include <QSettings>

static void initializeResources()
{
    Q_INIT_RESOURCE(login);
}

EulaDialog::EulaDialog(QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::EulaDialog>())
{
    initializeResources();
    m_ui->setupUi(this);
    QFile text(QStringLiteral(":/eula.html"));
    if (text.open(QIODevice::ReadOnly))
        m_ui->eulaTextBrowser->setHtml(QString::fromUtf8(text.readAll()));
    m_ui->eulaTextBrowser->setFocus();
}

EulaDialog::~EulaDialog() = default;

void EulaDialog::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        if (auto *button = qobject_cast<QPushButton *>(focusWidget()))
            button->click();
        return;
    }
    QDialog::keyPressEvent(event);
}

void EulaDialog::on_acceptPushButton_clicked()
{
    accept();
}

void EulaDialog::on_declinePushButton_clicked()
{
    reject();
}

bool acceptEula(QWidget *parent)
{
    const QString key = QStringLiteral("acceptedEula");
    QSettings settings;
    if (settings.value(key).toBool())
        return true;
    EulaDialog dialog(parent);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    settings.setValue(key, true);
    return true;
}
