#include "labels/labelsdialog.h"

#include "labels/labelpresets.h"
#include "labels/previewwidget.h"

#include "tests/support/databasetest.h"
#include "tests/support/files.h"
#include "tests/support/widgets.h"

#include <QImage>
#include <QSpinBox>

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
