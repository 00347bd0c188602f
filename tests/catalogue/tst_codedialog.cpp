#include "catalogue/codedialog.h"

#include "db/session.h"
#include "db/sqltext.h"
#include "tests/support/databasetest.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

#include <QScopeGuard>

namespace {

QLineEdit *codeEdit(const QDialog &dialog)
{
    return child<QLineEdit>(dialog, "codeLineEdit");
}

NumberSpinBox *packEdit(const QDialog &dialog)
{
    return child<NumberSpinBox>(dialog, "packquantityDoubleSpinBox");
}

QLineEdit *madeinEdit(const QDialog &dialog)
{
    return child<QLineEdit>(dialog, "madeinLineEdit");
}

void typePack(const QDialog &dialog, const char *text)
{
    packEdit(dialog)->selectAll();
    QTest::keyClick(packEdit(dialog), Qt::Key_Delete);
    QTest::keyClicks(packEdit(dialog), text);
}

} // namespace

class TestCodeDialog : public DatabaseTest
{
    Q_OBJECT

private slots:
    void generate_followsTheLargestInternalCode()
    {
        // The last of the first step has 13 bytes, which is what one of the databases counts.
        const std::pair<QStringList, const char *> steps[] = {
            {{"4006381333931", "20000001", "200000000000000", "2abcdefghijkl", "2абвгде"},
             "2000000000008"},
            {{"2000000000008", "2000000000091", "2000000000015", "3000000000000"}, "2000000000107"},
            {{"2999999999991"}, "as before"}};
        for (const auto &[codes, generated] : steps) {
            for (const QString &code : codes)
                shop::addCode(7, code);
            const QString count = rows("SELECT COUNT(*) FROM codes");
            CodeDialog dialog(0, 7, nullptr);
            codeEdit(dialog)->setText("as before");
            if (codes.size() == 1)
                m_boxes->answer("OK");
            click(dialog, "generateCodeButton");
            QCOMPARE(codeEdit(dialog)->text(), generated);
            QCOMPARE(rows("SELECT COUNT(*) FROM codes"), count);
        }
        QCOMPARE(m_boxes->lastText(), "Внутренние штрих-коды, начинающиеся с 2, закончились.");
    }

    void newCode_isStoredAsEntered()
    {
        shop::addCode(7, "00123");
        const QString before = currentTimestamp();
        CodeDialog dialog(0, 7, nullptr);
        dialog.show();
        QCOMPARE(dialog.windowTitle(), "Новый штрих-код");
        QCOMPARE(child<QLabel>(dialog, "nameLabel")->text(), shop::nastyName);
        QCOMPARE(packEdit(dialog)->value(), 1.0);

        // 123 is another text than 00123, whatever number a database may see in them.
        QTest::keyClicks(codeEdit(dialog), " 123 ");
        typePack(dialog, "1,125");
        madeinEdit(dialog)->setText("Кот-д'Ивуар");
        QTest::keyClick(madeinEdit(dialog), Qt::Key_Return);
        QCOMPARE(dialog.result(), 1);
        QCOMPARE(rows("SELECT id, wareid, code, packquantity, madein, userid FROM codes "
                      "WHERE code<>'00123'"),
                 QString::number(dialog.id()) + "\t7\t123\t1.125\tКот-д'Ивуар\t3");
        const QString timestamp = rows("SELECT timestamp FROM codes WHERE code='123'");
        QVERIFY(before <= timestamp && timestamp <= currentTimestamp());
    }

    void savedCode_isLoadedAndChanged()
    {
        // Another program of the shop stored more decimals than the field shows.
        shop::addCode(7, "О'Нил %1", 0.12345);
        rows("UPDATE codes SET madein='Цейлон', userid=9");
        const QString stamp = rows("SELECT timestamp FROM codes");
        const QString id = rows("SELECT id FROM codes");
        {
            CodeDialog dialog(id.toULongLong(), 0, nullptr);
            QCOMPARE(dialog.windowTitle(), "Редактирование штрих-кода");
            QCOMPARE(madeinEdit(dialog)->text(), "Цейлон");
            madeinEdit(dialog)->setText("Китай");
            click(dialog, "okPushButton"); // its own code is no duplicate
            QCOMPARE(dialog.result(), 1);
        }
        const QString columns = "SELECT id, wareid, code, packquantity, madein, userid, timestamp ";
        const QString expected = id + "\t7\tО'Нил %1\t%2\tКитай\t9\t" + stamp;
        QCOMPARE(rows(columns + "FROM codes"), QString(expected).replace("%2", "0.12345"));
        CodeDialog dialog(id.toULongLong(), 0, nullptr);
        packEdit(dialog)->setValue(12.5);
        click(dialog, "okPushButton");
        QCOMPARE(rows(columns + "FROM codes"), QString(expected).replace("%2", "12.5"));

        m_boxes->answer("OK");
        CodeDialog missing(4200000, 0, nullptr);
        QCOMPARE(m_boxes->lastText(), "Ошибка получения свойств штрих-кода");
        QCOMPARE(missing.exec(), 0);
    }

    void impossibleInput_keepsTheDialogOpen()
    {
        const QString taken = "О'Нил %2 %1 a\\";
        shop::addCode(7, taken);
        const QString noPack = "Пожалуйста, введите количество в упаковке.";
        const std::tuple<QString, const char *, QString> inputs[] = {
            {"  ", "1", "Пожалуйста, введите штрих-код."},
            {taken, "1", "Штрих-код " + taken + " уже присвоен наименованию 7."},
            {"4006381333931", "", noPack},
            {"4006381333931", "1.2345", noPack}};
        CodeDialog dialog(0, 8, nullptr);
        dialog.show();
        for (const auto &[code, pack, told] : inputs) {
            codeEdit(dialog)->setText(code);
            typePack(dialog, pack);
            m_boxes->answer("OK");
            QTest::keyClick(packEdit(dialog), Qt::Key_Return);
            QCOMPARE(m_boxes->lastText(), told);
            QVERIFY(dialog.isVisible());
            QCOMPARE(dialog.focusWidget() == codeEdit(dialog), code == "  ");
            packEdit(dialog)->setFocus();
        }
        click(dialog, "cancelPushButton");
        QVERIFY(!dialog.isVisible());
        QCOMPARE(rows("SELECT COUNT(*) FROM codes"), "1");
    }

    void scannedCode_isNotSavedAtOnce()
    {
        CodeDialog dialog(0, 7, nullptr);
        dialog.show();
        dialog.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&dialog));
        QTest::keyClicks(dialog.focusWidget(), "4006381333931\r");
        QVERIFY(dialog.isVisible());
        QCOMPARE(dialog.focusWidget(), packEdit(dialog));
        QCOMPARE(rows("SELECT COUNT(*) FROM codes"), "0");
        // A second scan by mistake is no pack quantity.
        m_boxes->answer("OK");
        QTest::keyClicks(dialog.focusWidget(), "4006381333931\r");
        QCOMPARE(m_boxes->lastText(), "Пожалуйста, введите количество в упаковке.");
        QTest::keyClicks(dialog.focusWidget(), "12\r");
        QVERIFY(!dialog.isVisible());
        QCOMPARE(rows("SELECT code, packquantity FROM codes").remove(".0"), "4006381333931\t12");
    }

    void nextScan_keepsTheFormerCode()
    {
        rows("INSERT INTO codes(wareid,code,userid) VALUES(0,'4600000000010'," +
             QString::number(Session::instance().user().id) + ")"); // of a cancelled card
        CodeDialog dialog(0, 7, nullptr);
        dialog.show();
        for (const char *code : {"4600000000010", "4600000000027", "4600000000027"})
            dialog.takeScan(code);
        m_boxes->answer("Закрыть");
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(rows("SELECT wareid, code FROM codes WHERE id=" + QString::number(dialog.id())),
                 "7\t4600000000010");
    }

    void largeFont_leavesRoomForEverything()
    {
        const QFont former = QApplication::font();
        QFont large = former;
        large.setPointSize(16);
        QApplication::setFont(large);
        const auto putBack = qScopeGuard([&] { QApplication::setFont(former); });
        shop::addProduct({.id = 8, .name = QString("Набор посуды для дачи ").repeated(10)});
        shop::addProduct({.id = 9, .name = QString(150, u'Ж')});
        for (const qulonglong id : {8, 9}) {
            CodeDialog dialog(0, id, nullptr);
            codeEdit(dialog)->setText("20000000000084");
            dialog.show();
            const auto *name = child<QLabel>(dialog, "nameLabel");
            QVERIFY(name->height() >= name->heightForWidth(name->width()));
            QVERIFY(name->width() >= name->minimumSizeHint().width());
            const QLineEdit *code = codeEdit(dialog);
            QVERIFY(code->width() > code->fontMetrics().horizontalAdvance(code->text()));
            for (const QObject *object : dialog.children()) {
                const auto *widget = qobject_cast<const QWidget *>(object);
                QVERIFY2(!widget || !widget->isVisible() ||
                             (dialog.rect().contains(widget->geometry()) &&
                              widget->height() >= widget->minimumSizeHint().height()),
                         qPrintable(object->objectName()));
            }
        }
    }

private:
    void prepare() override
    {
        openShop();
        shop::addProduct({.id = 7, .name = shop::nastyName});
    }
};

QTEST_MAIN(TestCodeDialog)
#include "tst_codedialog.moc"
