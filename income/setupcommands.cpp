#include "income/setupcommands.h"

#include "administration/optionsdialog.h"
#include "administration/settingsdialog.h"
#include "db/connections.h"
#include "db/money.h"
#include "db/session.h"
#include "images/imagesstore.h"
#include "images/storecheck.h"
#include "images/storecopy.h"
#include "scales/scales.h"
#include "sms/gatewaycheck.h"
#include "widgets/slotnames.h"

#include <QMainWindow>

namespace {

using Done = std::function<void(const Verdict &verdict)>;

template<StoreOwner owner>
QPair<SettingsKey, QString> checkImages(const SettingsValues &values)
{
    constexpr bool isOwn = owner == StoreOwner::Own;
    ImagesStoreSettings settings = ImagesStoreSettings::of(values, owner);
    const QString fault = settings.fault();
    settings.port.clear();
    if (settings.fault().isEmpty())
        return {isOwn ? SettingsKey::ImagesStorePort : SettingsKey::FriendImagesStorePort, fault};
    return {isOwn ? SettingsKey::ImagesStoreHost : SettingsKey::FriendImagesStoreHost, fault};
}

/// Nothing is written into the store of the reference.
template<StoreOwner owner>
void tryImages(const SettingsValues &values, QObject *context, const Done &done)
{
    using Use = StoreCheck::Use;
    constexpr Use use = owner == StoreOwner::Own ? Use::ReadAndWrite : Use::Read;
    auto *check = new StoreCheck(ImagesStoreSettings::of(values, owner), use, context);
    QObject::connect(check, &BackgroundWork::finished, context, [check, done] {
        done({check->state() == BackgroundWork::State::Done, check->result()});
    });
    check->start();
}

void tryScales(const SettingsValues &values, QObject * /*context*/, const Done &done)
{
    const scales::Reading reading = scales::weigh(values.value(SettingsKey::ScalesPort));
    if (reading.weight)
        done({true,
              SetupCommands::tr("Весы показывают: %1 кг").arg(formatQuantity(*reading.weight))});
    else
        done({false, QString(reading.fault + u' ' + reading.reason).trimmed()});
}

void trySms(const SettingsValues &values, QObject *context, const Done &done)
{
    const QString address = values.value(SettingsKey::SmsGateHost);
    sms::checkGateway(address, context, [address, done](const QString &fault) {
        Session &session = Session::instance();
        // The account may have been set at another workstation.
        if (fault.isEmpty())
            session.refreshOptions(nullptr, mainConnection);
        if (!fault.isEmpty())
            done({false, fault});
        else if (session.option("SMS_GATE_LOGIN").isEmpty() ||
                 session.option("SMS_GATE_PASSWORD").isEmpty())
            done({false, SetupCommands::tr("SMS-шлюз %1 отвечает, но логин или пароль для него не "
                                           "заданы в общих настройках магазина.")
                             .arg(address)});
        else
            done({true, SetupCommands::tr("SMS-шлюз %1 отвечает. Логин и пароль он проверит при "
                                          "отправке первого сообщения.")
                            .arg(address)});
    });
}

QPair<SettingsKey, QString> checkSms(const SettingsValues &values)
{
    return {SettingsKey::SmsGateHost, sms::gatewayFault(values.value(SettingsKey::SmsGateHost))};
}

QList<QPair<QString, QString>> findPorts()
{
    QList<QPair<QString, QString>> ports;
    const QList<scales::FoundPort> found = scales::foundPorts();
    for (const scales::FoundPort &port : found)
        ports += {port.name, port.description};
    return ports;
}

} // namespace

SetupCommands::SetupCommands(QMainWindow *window)
    : QObject(window),
      m_window(window)
{
    connectSlots(this, window);
}

SettingsParts SetupCommands::parts()
{
    return {.checkImages = checkImages<StoreOwner::Own>,
            .tryImages = tryImages<StoreOwner::Own>,
            .hasReference = isConnectionRegistered(friendConnection),
            .checkFriendImages = checkImages<StoreOwner::Reference>,
            .tryFriendImages = tryImages<StoreOwner::Reference>,
            .tryScales = tryScales,
            .checkSms = checkSms,
            .trySms = trySms,
            .findPorts = findPorts};
}

void SetupCommands::on_settingsAction_triggered()
{
    const CommandScope command;
    const ImagesStoreSettings former = ImagesStoreSettings::read();
    if (SettingsDialog(parts(), m_window).exec() == QDialog::Accepted) {
        emit settingsKept();
        emit told(tr("Настройки рабочего места сохранены"), true);
    }
    emit finished();
    if (const ImagesStoreSettings now = ImagesStoreSettings::read(); now != former) {
        ImagesStore::instance().open(now);
        offerStoreCopy(m_window, former, now);
    }
}

void SetupCommands::on_optionsAction_triggered()
{
    const CommandScope command;
    if (mayDo(m_window, Command::ChangeOptions) &&
        OptionsDialog(m_window).exec() == QDialog::Accepted)
        emit told(tr("Общие настройки магазина сохранены"), true);
    emit finished();
}
