#include "labels/labelsdialog.h"

#include "labels/labelpresets.h"
#include "labels/previewwidget.h"
#include "labels/sheetprint.h"

#include "tests/support/databasetest.h"
#include "tests/support/files.h"
#include "tests/support/widgets.h"
#include "widgets/scanreader.h"

#include <QFileDialog>
#include <QImage>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTimer>

class TestLabelsDialog : public DialogTest
{
    Q_OBJECT

private slots:
    void fromReceiptToPreview()
    {
        LabelsDialog dialog(nullptr);
        dialog.show();
        const QImage empty = preview(dialog);
        child<QSpinBox>(dialog, "incomenumSpinBox")->setValue(4);
        click(dialog, "importLocalFromIncomeButton");
        QVERIFY(preview(dialog) != empty);
        const auto *status = child<QLabel>(dialog, "statusLabel");
        QCOMPARE(status->text(), "этикеток на листе: 24, этикеток: 25, Листов: 2");
        auto *page = child<QSpinBox>(dialog, "pageSpinBox");
        QCOMPARE(page->maximum(), 2);
        page->setValue(2);
        QVERIFY(preview(dialog) != empty);
        dialog.takeScan("4607004652387");
        QCOMPARE(rows("SELECT SUM(quantity) FROM labels").trimmed(), "26");
        auto *table = child<QTableView>(dialog, "labelsTableView");
        table->setCurrentIndex(table->model()->index(0, 3));
        QTest::keyClick(table, Qt::Key_F2);
        QTest::keyClicks(table->viewport()->findChild<QSpinBox *>(), "2");
        QTest::keyClick(table->viewport()->findChild<QSpinBox *>(), Qt::Key_Return);
        QTRY_COMPARE(status->text(), "этикеток на листе: 24, этикеток: 3, Листов: 1");
        child<QComboBox>(dialog, "settingsComboBox")->setCurrentIndex(2);
        emit child<QComboBox>(dialog, "settingsComboBox")->activated(2);
        QTRY_COMPARE(status->text(), "этикеток на листе: 1, этикеток: 3, Листов: 3");
    }

    void presetsAreSaved()
    {
        LabelsDialog dialog(nullptr);
        dialog.show();
        type(dialog, "presetNameLineEdit", "");
        m_boxes->answer("OK");
        click(dialog, "savePresetPushButton");
        type(dialog, "presetNameLineEdit", "Моя");
        child<QSpinBox>(dialog, "rowcntSpinBox")->setValue(5);
        click(dialog, "savePresetPushButton");
        auto *choice = child<QComboBox>(dialog, "settingsComboBox");
        QCOMPARE(choice->currentText(), "Моя");
        LabelPresets stored;
        QCOMPARE(presets::read(stored), presets::Read::Done);
        QCOMPARE(stored.list.last().settings.rows, 5);
        m_boxes->answer("Удалить");
        click(dialog, "deletePresetPushButton");
        QCOMPARE(choice->count(), 4);
        QCOMPARE(choice->currentIndex(), -1);

        QVERIFY(presets::change(stored, [](LabelPresets &all) {
                    while (presets::add(all, {QString::number(all.list.size()), {}})) {
                    }
                    return true;
                }) == presets::Write::Done);
        LabelsDialog other(nullptr);
        other.show();
        type(other, "presetNameLineEdit", "Новая");
        m_boxes->answer("Заменить");
        click(other, "savePresetPushButton");
        QCOMPARE(presets::read(stored), presets::Read::Done);
        QCOMPARE(stored.list.size(), presets::most);
        QCOMPARE(stored.list.at(19).name, "Новая");
    }

    void returnImportsAndPrintedPricesGoOffTheList()
    {
        rows("DELETE FROM changeoutcostinfo");
        rows("INSERT INTO changeoutcostinfo(wareid,ctime) VALUES(1,'a'),(9,'b')");
        LabelsDialog dialog(nullptr);
        dialog.show();
        auto *number = child<QSpinBox>(dialog, "incomenumSpinBox");
        number->setValue(4);
        QTest::keyClick(number, Qt::Key_Return);
        QCOMPARE(rows("SELECT SUM(quantity) FROM labels").trimmed(), "25");
        m_boxes->answer("OK");
        QTest::keyClick(number, Qt::Key_Return); // not a second time
        QCOMPARE(rows("SELECT SUM(quantity) FROM labels").trimmed(), "25");

        const QString path = m_home->path() + "/labels.pdf";
        const auto save = [&](const QString &answer) {
            QTimer::singleShot(0, this, [&] {
                auto *file = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
                QVERIFY(file);
                file->selectFile(path);
                QMetaObject::invokeMethod(file, "accept", Qt::QueuedConnection);
            });
            if (!answer.isEmpty())
                m_boxes->answer(answer);
            click(dialog, "pdfPushButton");
            return readFile(path);
        };
        {
            const FullDisk full(2000);
            QCOMPARE(save("OK"), "");
            QVERIFY(m_boxes->lastText().startsWith("Ошибка создания файла этикеток"));
        }
        QVERIFY(save("Вычеркнуть").endsWith("%%EOF\n"));
        QCOMPARE(rows("SELECT wareid FROM changeoutcostinfo").trimmed(), "9");
    }

    void aScanIsNoNumber()
    {
        LabelsDialog dialog(nullptr);
        dialog.show();
        QLineEdit codes;
        const ScanReader reader(&codes, &dialog);
        setKeyClock([] { return 1; });
        const auto clock = qScopeGuard([] { setKeyClock({}); });
        const QSignalSpy scans(&reader, &ScanReader::scanned);
        auto *number = child<QSpinBox>(dialog, "incomenumSpinBox");
        QTest::keyClicks(number, "4600000000008");
        QTest::keyClick(number, Qt::Key_Return);
        QCOMPARE(scans.size(), 1);
        QCOMPARE(number->value(), 0);
    }

    void aPdfIsWholeOrNotAtAll()
    {
        rows("INSERT INTO labels(id,code,name,quantity) VALUES(1,'4607004652387','n',1)");
        const SheetSettings settings = presets::readyMade().list.at(2).settings;
        const SheetPlan plan({{1, 100}}, settings, 0);
        const QString path = m_home->path() + "/labels.pdf";
        const auto write = [&](const ProgressStep &step) {
            LabelReader reader;
            LabelFaults faults;
            return writePdf(nullptr, path, "x", {settings, plan, 1, 100}, reader, faults, step);
        };
        QCOMPARE(write({}), PrintResult::Done);
        const QByteArray whole = readFile(path);
        QCOMPARE(write([](int done, int) { return done < 40; }), PrintResult::Stopped);
        // The last bytes are written behind all the others.
        for (const qsizetype room : {1000, int(whole.size()) - 5000, int(whole.size()) - 1}) {
            const FullDisk full{quint64(room)};
            QCOMPARE(write({}), PrintResult::DeviceFailed);
        }
        QCOMPARE(readFile(path), whole);
        QCOMPARE(QDir(m_home->path()).entryList({"labels*"}).size(), 1);
    }

    void aLayoutThatIsNotWrittenStays()
    {
        LabelsDialog dialog(nullptr);
        dialog.show();
        {
            const FullDisk full(1000);
            type(dialog, "presetNameLineEdit", "Первая");
            m_boxes->answer("OK");
            click(dialog, "savePresetPushButton");
            QCOMPARE(m_boxes->lastText(), "Labels settings save error");
            QVERIFY(!QFile::exists(presets::filePath()));
        }
        auto *choice = child<QComboBox>(dialog, "settingsComboBox");
        QCOMPARE(choice->currentText(), "Первая");
        type(dialog, "presetNameLineEdit", "Вторая");
        click(dialog, "savePresetPushButton");
        LabelPresets stored;
        QCOMPARE(presets::read(stored), presets::Read::Done);
        QCOMPARE(stored.list.value(4).name, "Первая");
        QCOMPARE(stored.list.value(5).name, "Вторая");
    }

    void aDamagedFileIsTold()
    {
        writeFile(presets::filePath(), "x");
        LabelsDialog dialog(nullptr);
        dialog.show();
        m_boxes->answer("OK");
        QTRY_VERIFY(m_boxes->lastText().contains("поврежден"));
        m_boxes->answer("Отмена");
        click(dialog, "savePresetPushButton");
        QCOMPARE(readFile(presets::filePath()), "x");
    }

protected:
    void prepare() override
    {
        openShop();
        QVERIFY(QDir().mkpath(m_home->path() + "/.lavkor"));
        shop::addProduct({.id = 1});
        shop::addCode(1, "4607004652387");
        rows("DELETE FROM labels");
        rows("INSERT INTO income(reportid,wareid,quantity) VALUES(4,1,25)");
    }

private:
    static QImage preview(const LabelsDialog &dialog)
    {
        return child<PreviewWidget>(dialog, "previewWidget")->grab().toImage();
    }
};

QTEST_MAIN(TestLabelsDialog)
#include "tst_labelsdialog.moc"
