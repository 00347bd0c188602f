#include "administration/settingsdialog.h"
#include "ui_settingsdialog.h"

#include "app/messages.h"
#include "widgets/colors.h"
#include "widgets/dialogbuttons.h"
#include "widgets/dialogplace.h"
#include "widgets/fieldvalue.h"

#include <QKeyEvent>
#include <QPointer>
#include <QScreen>

#include <utility>

namespace {

const QString serialScales = QStringLiteral("1");

/// What can be told from the entered values alone.
QPair<SettingsKey, QString> checkScales(const SettingsValues &values)
{
    if (!values.value(SettingsKey::ScalesType).isEmpty() &&
        values.value(SettingsKey::ScalesPort).isEmpty())
        return {SettingsKey::ScalesPort,
                SettingsDialog::tr("Пожалуйста, введите порт, к которому подключены весы.")};
    return {};
}

} // namespace

SettingsDialog::SettingsDialog(SettingsParts parts, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::SettingsDialog>()),
      m_parts(std::move(parts)),
      m_before(stationSettings())
{
    m_ui->setupUi(this);
    m_fields = {{SettingsKey::FontSize, m_ui->fontSizeComboBox},
                {SettingsKey::Sounds, m_ui->soundsCheckBox},
                {SettingsKey::ScalesType, m_ui->scalesTypeComboBox},
                {SettingsKey::ScalesPort, m_ui->scalesPortComboBox},
                {SettingsKey::SmsGateHost, m_ui->smsHostLineEdit}};
    m_ui->imagesPage->setOwner(StoreFields::Owner::Own);
    m_fields.insert(m_ui->imagesPage->fields());
    m_ui->friendImagesPage->setOwner(StoreFields::Owner::Reference);
    m_fields.insert(m_ui->friendImagesPage->fields());
    if (!m_parts.hasReference)
        m_ui->tabWidget->setTabVisible(m_ui->tabWidget->indexOf(m_ui->friendImagesPage), false);
    fillChoices();
    findPorts();
    showValues(m_before);
    m_shown = entered();
    for (auto *box : {m_ui->fontSizeComboBox, m_ui->scalesTypeComboBox, m_ui->scalesPortComboBox})
        keepFromWheel(box);
    pressByCtrlReturn(this, m_ui->savePushButton);
    keepDialogSize(this);
}

SettingsDialog::~SettingsDialog() = default;

void SettingsDialog::fillChoices()
{
    constexpr int smallest = 8;
    constexpr int largest = 20;
    m_ui->fontSizeComboBox->addItem(tr("Как в системе"), QStringLiteral("0"));
    for (int points = smallest; points <= largest; ++points)
        m_ui->fontSizeComboBox->addItem(tr("%1 пт").arg(points), QString::number(points));
    m_ui->scalesTypeComboBox->addItem(tr("Нет"), QString());
    m_ui->scalesTypeComboBox->addItem(tr("На последовательном порту"), serialScales);
}

void SettingsDialog::showValues(const SettingsValues &values)
{
    for (auto field = m_fields.begin(); field != m_fields.end(); ++field)
        showInField(field.value(), values.value(field.key()));
    m_ui->scalesPortComboBox->setEditText(values.value(SettingsKey::ScalesPort));
    m_ui->imagesPage->fitToType();
    m_ui->friendImagesPage->fitToType();
    on_scalesTypeComboBox_currentIndexChanged(0);
}

SettingsValues SettingsDialog::entered() const
{
    SettingsValues values;
    for (auto field = m_fields.begin(); field != m_fields.end(); ++field) {
        const QString text = field.value() == m_ui->scalesPortComboBox
                                 ? m_ui->scalesPortComboBox->currentText()
                                 : valueInField(field.value()).toString();
        const bool isPassword = field.key() == SettingsKey::ImagesStorePassword ||
                                field.key() == SettingsKey::FriendImagesStorePassword;
        values.insert(field.key(), isPassword ? text : text.trimmed());
    }
    return values;
}

void SettingsDialog::keyPressEvent(QKeyEvent *event)
{
    if (!passReturnOn(this, event))
        QDialog::keyPressEvent(event);
}

void SettingsDialog::reject()
{
    if (entered() == m_shown || mayLoseInput(this))
        QDialog::reject();
}

/// Shows the dialog itself in the chosen size.
void SettingsDialog::on_fontTestPushButton_clicked()
{
    const int points = m_ui->fontSizeComboBox->currentData().toInt();
    QFont font; // that of the program
    if (points > 0)
        font.setPointSize(points);
    setFont(font);
    const QSize needed = minimumSizeHint();
    const QSize room = screen()->availableSize();
    const bool fits = needed.width() <= room.width() && needed.height() <= room.height();
    resize(size().expandedTo(needed).boundedTo(room));
    tell(m_ui->fontResultLabel,
         {fits, fits ? tr("Так будут выглядеть окна программы.")
                     : tr("Этот шрифт слишком крупный: окна не поместятся на экране.")});
}

void SettingsDialog::on_foundTestPushButton_clicked()
{
    trySound(Sound::Found);
}

void SettingsDialog::on_notFoundTestPushButton_clicked()
{
    trySound(Sound::NotFound);
}

void SettingsDialog::trySound(Sound sound)
{
    const auto play = [sound](const SettingsValues &, QObject *context,
                              const std::function<void(const Verdict &)> &done) {
        tryOutSound(sound, context, [done](const QString &fault) {
            done({fault.isEmpty(),
                  fault.isEmpty()
                      ? tr("Звук воспроизведён. Если его не слышно, проверьте громкость "
                           "и колонки.")
                      : fault});
        });
    };
    tryOut(play, m_ui->soundResultLabel);
}

void SettingsDialog::on_imagesPage_trialWanted()
{
    if (check(m_parts.checkImages))
        tryOut(m_parts.tryImages, m_ui->imagesPage->resultLabel());
}

void SettingsDialog::on_friendImagesPage_trialWanted()
{
    if (check(m_parts.checkFriendImages))
        tryOut(m_parts.tryFriendImages, m_ui->friendImagesPage->resultLabel());
}

void SettingsDialog::on_scalesTypeComboBox_currentIndexChanged(int /*index*/)
{
    const bool hasScales = !m_ui->scalesTypeComboBox->currentData().toString().isEmpty();
    for (QWidget *widget : std::initializer_list<QWidget *>{
             m_ui->scalesPortLabel, m_ui->scalesPortComboBox, m_ui->scalesFindPushButton,
             m_ui->scalesFoundLabel, m_ui->scalesTestPushButton})
        widget->setEnabled(hasScales);
}

void SettingsDialog::on_scalesFindPushButton_clicked()
{
    findPorts();
}

/// Offers the ports of this computer; what was entered stays.
void SettingsDialog::findPorts()
{
    QComboBox *box = m_ui->scalesPortComboBox;
    const QString entered = box->currentText();
    box->clear();
    QStringList found;
    const auto ports = m_parts.findPorts ? m_parts.findPorts() : QList<QPair<QString, QString>>();
    for (const auto &[name, description] : ports) {
        box->addItem(name);
        found += description.isEmpty() ? name : name + QStringLiteral(" — ") + description;
    }
    box->setEditText(entered);
    m_ui->scalesFoundLabel->setText(
        found.isEmpty() ? tr("На этом компьютере нет последовательных портов.")
                        : tr("На этом компьютере: %1.").arg(found.join(QStringLiteral(", "))));
}

void SettingsDialog::on_scalesTestPushButton_clicked()
{
    if (check(checkScales))
        tryOut(m_parts.tryScales, m_ui->scalesResultLabel);
}

void SettingsDialog::on_smsTestPushButton_clicked()
{
    if (check(m_parts.checkSms))
        tryOut(m_parts.trySms, m_ui->smsResultLabel);
}

/// Runs a trial of what is entered; its verdict is shown on the label. A second one on the same
/// label ends the first.
void SettingsDialog::tryOut(const SettingsTrial &trial, QLabel *label)
{
    delete m_trials.take(label);
    auto *context = new QObject(this);
    m_trials.insert(label, context);
    label->setPalette(palette());
    label->setText(tr("Проверяется..."));
    label->repaint(); // some trials keep the window waiting
    trial(entered(), context,
          [this, label, guard = QPointer<QObject>(context)](const Verdict &verdict) {
              if (!guard)
                  return;
              tell(label, verdict);
              m_trials.remove(label);
              guard->deleteLater();
          });
}

void SettingsDialog::tell(QLabel *label, const Verdict &verdict)
{
    QPalette colours = label->parentWidget()->palette();
    if (!verdict.good)
        colours.setColor(QPalette::WindowText, warningTextColor(colours));
    label->setPalette(colours);
    label->setText(verdict.text);
}

bool SettingsDialog::check(const SettingsCheck &rule)
{
    if (!rule)
        return true;
    const auto [key, fault] = rule(entered());
    if (fault.isEmpty())
        return true;
    showInformation(this, fault);
    lead(key);
    return false;
}

/// Takes the user to a field.
void SettingsDialog::lead(SettingsKey key)
{
    QWidget *field = m_fields.value(key);
    for (int page = 0; page < m_ui->tabWidget->count(); ++page) {
        if (m_ui->tabWidget->widget(page)->isAncestorOf(field))
            m_ui->tabWidget->setCurrentIndex(page);
    }
    field->setFocus();
    if (auto *line = qobject_cast<QLineEdit *>(field))
        line->selectAll();
}

void SettingsDialog::on_savePushButton_clicked()
{
    // A page that is not shown could not be put right.
    const SettingsCheck checkFriend =
        m_parts.hasReference ? m_parts.checkFriendImages : SettingsCheck();
    if (!check(m_parts.checkImages) || !check(checkFriend) || !check(checkScales) ||
        !check(m_parts.checkSms))
        return;
    // What was not touched stays as it is in the file, whatever the field made of it.
    SettingsValues values = m_before;
    const SettingsValues now = entered();
    for (auto value = now.begin(); value != now.end(); ++value) {
        if (value.value() != m_shown.value(value.key()))
            values.insert(value.key(), value.value());
    }
    QString error;
    if (!keepStationSettings(values, &error)) {
        showWarning(this, error);
        return;
    }
    accept();
}

void SettingsDialog::on_cancelPushButton_clicked()
{
    reject();
}
