#include "app/settings.h"
#include "scales/scales.h"
#include "tests/support/datatable.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/simulatedscales.h"
#include "tests/support/testhome.h"

#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

const QByteArray ack("\x06");

} // namespace

class TestScales : public QObject
{
    Q_OBJECT

private slots:
    void weight_isReadFromItsPlace_data()
    {
        addColumns<QByteArray, bool, double>("packet", "isWeight", "weight");
        const auto packet = &SimulatedScales::packet;
        addRow("positive", packet(' ', " 1.250"), true, 1.25);
        addRow("negative", packet('-', "1.250 "), true, -1.25);
        addRow("whole", packet(' ', "    12"), true, 12.0);
        addRow("nothing on them", packet('-', " 0.000"), true, 0.0);
        addRow("blank", packet(' ', "      "), false, 0.0);
        addRow("letters", packet(' ', " ERROR"), false, 0.0);
        addRow("infinity", packet(' ', "   inf"), false, 0.0);
        addRow("exponent", packet(' ', "  1e05"), false, 0.0);
        addRow("blank inside", packet(' ', " 1 250"), false, 0.0);
        addRow("bytes of no text", packet(' ', QByteArray(6, '\0')), false, 0.0);
    }

    void weight_isReadFromItsPlace()
    {
        const auto [packet, isWeight, weight] = rowValues<QByteArray, bool, double>();
        const scales::Reading reading = scales::readPacket(packet);
        QCOMPARE(reading.weight.has_value(), isWeight);
        QCOMPARE(reading.weight.value_or(0), weight);
        QVERIFY(!std::signbit(reading.weight.value_or(0)) || weight < 0);
        QCOMPARE(reading.fault.isEmpty(), isWeight);
    }

    void exchange_overTheWire_data()
    {
        addColumns<QList<QByteArray>, QString, QByteArray>("answers", "fault", "heard");
        const QByteArray good = SimulatedScales::packet('-', " 1.250");
        const QString timeout =
            "Превышен интервал ожидания %1. Проверьте подключение весов к компьютеру.";
        const QString size = "Неправильный размер пакета данных %1.";
        const QByteArray both("\x05\x11");
        addRow("right", QList<QByteArray>{ack, good}, QString(), both);
        addRow("silent", QList<QByteArray>{}, timeout.arg(1), both.left(1));
        addRow("two bytes", QList<QByteArray>{ack + ack}, size.arg(2), both.left(1));
        addRow("refused", QList<QByteArray>{"\x15"}, QString("Неправильный ответ 0x15."),
               both.left(1));
        addRow("noise", QList<QByteArray>{QByteArray::fromHex("ff00fe7f061305")}, size.arg(7),
               both.left(1));
        addRow("no weight", QList<QByteArray>{ack}, timeout.arg(2), both);
        addRow("short", QList<QByteArray>{ack, good.left(14)}, size.arg(14), both);
        addRow("long", QList<QByteArray>{ack, good + good}, size.arg(30), both);
    }

    void exchange_overTheWire()
    {
        const auto [answers, fault, heard] = rowValues<QList<QByteArray>, QString, QByteArray>();
        SimulatedScales simulated(answers);
        const scales::Reading reading = scales::weigh(simulated.port());
        QCOMPARE(reading.fault, fault);
        QCOMPARE(reading.weight, fault.isEmpty() ? std::optional(-1.25) : std::nullopt);
        QCOMPARE(simulated.heard(), heard);
    }

    void settings_tellWhichScales()
    {
        const TestHome home;
        QueuedBoxes boxes;
        Settings::instance().reset();
        QVERIFY(!scales::areConfigured());
        Settings::instance().setValue(SettingsKey::ScalesType, "1");
        Settings::instance().setValue(SettingsKey::ScalesPort, "ttyNONE");
        QVERIFY(scales::areConfigured());
        boxes.answer("OK");
        QCOMPARE(scales::readWeight(nullptr), std::nullopt);
        QCOMPARE(boxes.lastText(), "Serial port ttyNONE opening failed.");
        QVERIFY(boxes.requests().last().details.contains("нет"));

        // The port is closed behind each reading, however it ended.
        SimulatedScales simulated({"?", ack, SimulatedScales::packet(' ', " 0.500")});
        Settings::instance().setValue(SettingsKey::ScalesPort, simulated.port());
        boxes.answer("OK");
        QCOMPARE(scales::readWeight(nullptr), std::nullopt);
        QCOMPARE(boxes.lastText(), "Неправильный ответ 0x3F.");
        QCOMPARE(scales::readWeight(nullptr), 0.5);
        QVERIFY(boxes.verify());
    }

    void portOfSomebodyElse_isTold()
    {
        SimulatedScales simulated({ack, SimulatedScales::packet(' ', " 1.250")});
        QCOMPARE(chmod(qPrintable(simulated.port()), 0), 0);
        // Rights on files do not bind the administrator of the computer.
        constexpr uid_t nobody = 65534;
        const uid_t self = geteuid();
        if (self == 0)
            QCOMPARE(seteuid(nobody), 0);
        const scales::Reading refused = scales::weigh(simulated.port());
        if (self == 0)
            QCOMPARE(seteuid(self), 0);
        QCOMPARE(refused.fault, "Serial port " + simulated.port() + " opening failed.");
        QVERIFY(refused.reason.contains("dialout"));
        QCOMPARE(simulated.heard(), QByteArray());
    }
};

QTEST_GUILESS_MAIN(TestScales)
#include "tst_scales.moc"
