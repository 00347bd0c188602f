#include "administration/optiondescription.h"
#include "administration/settingsdialog.h"
#include "tests/support/datatable.h"
#include "tests/support/files.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/testhome.h"
#include "tests/support/widgets.h"

#include <QDir>
#include <QTabWidget>

#include <optional>

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_home.emplace();
        m_boxes.emplace();
        m_path = QDir(m_home->path()).filePath("settings");
        Settings::instance().load(m_path);
        Settings::instance().setValue(SettingsKey::ScalesType, "1");
        Settings::instance().setValue(SettingsKey::ScalesPort, "ttyS7");
        Settings::instance().setValue(SettingsKey::FontSize, "33"); // no choice of ours
        QVERIFY(Settings::instance().save());
    }

    void cleanup()
    {
        QVERIFY(m_boxes->verify());
        m_boxes.reset();
        Settings::instance().reset();
    }

    void optionValues_areChecked_data()
    {
        addColumns<QString, QString, bool>("name", "value", "right");
        addRow("percent", QString("DISCOUNT_MARGIN_PERCENT"), QString("100"), true);
        addRow("too much", QString("DISCOUNT_MARGIN_PERCENT"), QString("101"), false);
        addRow("no number", QString("JPEG_QUALITY"), QString(""), false);
        addRow("flag", QString("CROP_IMAGE"), QString("2"), false);
        addRow("time zone", QString("TIMEZONE"), QString("+14"), true);
        addRow("no time zone", QString("TIMEZONE"), QString("+15"), false);
        addRow("without an account", QString("RSCHET"), QString(""), true);
        addRow("account", QString("RSCHET"), QString("40702810900000000001"), true);
        addRow("digits of another script", QString("BIK"), QString("٠٤٤٥٢٥٢٢٥"), false);
        addRow("address of the payment page", QString("PAYMENT_URL"),
               QString("https://shop.example/pay?o=[ORDER_ID]"), true);
        addRow("no address", QString("PAYMENT_URL"), QString("javascript:alert(1)"), false);
        addRow("of another program", QString("FOREIGN"), QString("\n"), true);
    }

    void optionValues_areChecked()
    {
        const auto [name, value, right] = rowValues<QString, QString, bool>();
        QCOMPARE(optionFault({.name = name}, value).isEmpty(), right);
    }

    void helpOfAFlag_isInWordsOfItsBox()
    {
        const OptionDescription flag = describeOption(
            {.name = "CROP_IMAGE", .description = "0 или 1. Если 1, то изображения обрезаются."});
        QCOMPARE(flag.help, "Если отмечено, то изображения обрезаются.");
        QCOMPARE(shownOption(describeOption({.name = "SMTP_PASSWORD"}), "s3cret"), "задан");
    }

    void settings_areKeptWhenTheyAreAccepted()
    {
        const QByteArray before = readFile(m_path);
        SettingsDialog dialog({.checkSms = [](const SettingsValues &values) {
            const bool right = values.value(SettingsKey::SmsGateHost) != "wrong";
            return qMakePair(SettingsKey::SmsGateHost, right ? QString() : "Неверный адрес");
        }});
        dialog.show();
        type(dialog, "smsHostLineEdit", "wrong");
        child<QComboBox>(dialog, "scalesPortComboBox")->setEditText("");
        m_boxes->answer("OK");
        click(dialog, "savePushButton");
        QCOMPARE(m_boxes->lastText(), "Пожалуйста, введите порт, к которому подключены весы.");
        QCOMPARE(child<QTabWidget>(dialog, "tabWidget")->currentIndex(), 3);
        child<QComboBox>(dialog, "scalesPortComboBox")->setEditText("ttyUSB0 ");
        m_boxes->answer("OK");
        click(dialog, "savePushButton");
        QCOMPARE(m_boxes->lastText(), "Неверный адрес");
        QCOMPARE(readFile(m_path), before);

        type(dialog, "smsHostLineEdit", "right");
        // While the file cannot be written the former values hold.
        QVERIFY(QFile::remove(m_path) && QDir().mkdir(m_path));
        m_boxes->answer("OK");
        click(dialog, "savePushButton");
        QVERIFY(dialog.isVisible());
        QCOMPARE(Settings::instance().value(SettingsKey::ScalesPort), "ttyS7");
        QVERIFY(QDir().rmdir(m_path));
        click(dialog, "savePushButton");
        QVERIFY(!dialog.isVisible());
        Settings::instance().load(m_path);
        QCOMPARE(Settings::instance().value(SettingsKey::ScalesPort), "ttyUSB0");
        QCOMPARE(Settings::instance().value(SettingsKey::SmsGateHost), "right");
        QCOMPARE(Settings::instance().value(SettingsKey::FontSize), "33");
    }

    void storeOfTheReference_isEditedWhereThereIsOne()
    {
        for (const bool hasReference : {false, true}) {
            SettingsDialog dialog({.hasReference = hasReference,
                                   .checkFriendImages = [hasReference](const SettingsValues &) {
                                       return qMakePair(SettingsKey::FriendImagesStoreHost,
                                                        QString(hasReference ? "" : "Нет адреса"));
                                   }});
            QCOMPARE(child<QTabWidget>(dialog, "tabWidget")->isTabVisible(2), hasReference);
            child<QComboBox>(dialog, "friendImagesTypeComboBox")->setCurrentIndex(hasReference);
            type(dialog, "friendImagesPathLineEdit", "/there");
            click(dialog, "savePushButton");
            QCOMPARE(Settings::instance().value(SettingsKey::FriendImagesStoreType),
                     hasReference ? "local" : "");
        }
        QCOMPARE(Settings::instance().value(SettingsKey::FriendImagesStorePath), "/there");
        QCOMPARE(Settings::instance().value(SettingsKey::ImagesStorePath), "");
    }

    void trial_takesWhatIsEntered()
    {
        std::function<void(const Verdict &)> later;
        SettingsDialog dialog({.tryScales = [&](const SettingsValues &values, QObject *,
                                                const std::function<void(const Verdict &)> &done) {
            later = [done, port = values.value(SettingsKey::ScalesPort)](const Verdict &verdict) {
                done({verdict.good, port + verdict.text});
            };
        }});
        child<QComboBox>(dialog, "scalesPortComboBox")->setEditText("ttyS1");
        auto *button = child<QPushButton>(dialog, "scalesTestPushButton");
        auto *label = child<QLabel>(dialog, "scalesResultLabel");
        button->click();
        const auto former = later;
        button->click(); // a second click begins anew
        former({true, " отвечает"});
        later({false, " не отвечает"});
        QCOMPARE(label->text(), "ttyS1 не отвечает");
        QCOMPARE(Settings::instance().value(SettingsKey::ScalesPort), "ttyS7");
    }

    void trial_endsWithItsWindow()
    {
        std::function<void(const Verdict &)> later;
        {
            SettingsDialog dialog(
                {.tryScales = [&](const SettingsValues &, QObject *, const auto &done) {
                    later = done;
                }});
            child<QPushButton>(dialog, "scalesTestPushButton")->click();
        }
        later({true, "too late"});
    }

private:
    std::optional<TestHome> m_home;
    std::optional<QueuedBoxes> m_boxes;
    QString m_path;
};

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
