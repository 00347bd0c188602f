#include "catalogue/codedialog.h"

#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/shop.h"
#include "tests/support/testhome.h"
#include "widgets/numberspinbox.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QTest>

#include <map>
#include <memory>

namespace {

QLineEdit *codeEdit(const QDialog &dialog)
{
    return dialog.findChild<QLineEdit *>("codeLineEdit");
}

NumberSpinBox *packEdit(const QDialog &dialog)
{
    return dialog.findChild<NumberSpinBox *>("packquantityDoubleSpinBox");
}

QLineEdit *madeinEdit(const QDialog &dialog)
{
    return dialog.findChild<QLineEdit *>("madeinLineEdit");
}

void click(const QDialog &dialog, const QString &button)
{
    QTest::mouseClick(dialog.findChild<QPushButton *>(button), Qt::LeftButton);
}

} // namespace

class TestCodeDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void cleanup();

    void generate_followsTheLargestInternalCode_data();
    void generate_followsTheLargestInternalCode();
    void generate_tellsWhenTheRangeIsUsedUp();
    void newCode_isStoredAsEntered();
    void savedCode_isLoadedAndChanged();
    void emptyCode_keepsTheDialogOpen();
    void impossiblePackQuantity_keepsTheDialogOpen_data();
    void impossiblePackQuantity_keepsTheDialogOpen();
    void otherChange_keepsAnExactPackQuantity();
    void takenCode_isRefused_data();
    void takenCode_isRefused();
    void missingRow_endsTheDialog();
    void scannedCode_isNotSavedAtOnce();
    void largeFont_leavesRoomForEverything();

private:
    QString rows(const QString &sqlText) const
    {
        return m_database->client(sqlText);
    }

    /// The database of this kind, connected; its schema is made once for all cases.
    ScratchDatabase &shopDatabase(Dialect dialect);

    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<QueuedBoxes> m_boxes;
    std::map<Dialect, std::unique_ptr<ScratchDatabase>> m_databases;
    ScratchDatabase *m_database = nullptr;
};

void TestCodeDialog::initTestCase_data()
{
    addDialectRows();
}

ScratchDatabase &TestCodeDialog::shopDatabase(Dialect dialect)
{
    std::unique_ptr<ScratchDatabase> &database = m_databases[dialect];
    const bool isNew = !database;
    if (isNew)
        database = std::make_unique<ScratchDatabase>(dialect);
    if (!database->open() || (isNew && !shop::create()))
        qFatal("No database for the test");
    return *database;
}

void TestCodeDialog::init()
{
    QFETCH_GLOBAL(Dialect, dialect);
    QTest::failOnWarning(QRegularExpression("connectSlotsByName"));
    m_home = std::make_unique<TestHome>();
    m_boxes = std::make_unique<QueuedBoxes>();
    m_database = &shopDatabase(dialect);
    QVERIFY(QueryExec(nullptr, "DELETE FROM codes;"));
    QVERIFY(QueryExec(nullptr, "DELETE FROM warehouse;"));
    shop::addProduct({.id = 7, .name = "Чай <b>\"Заря\"</b> & О'Нил"});
    Session::instance().setUser({.id = 3, .login = "anna", .name = "Анна", .rights = 0});
}

void TestCodeDialog::cleanup()
{
    const bool expected = m_boxes->verify();
    m_boxes.reset();
    m_home.reset();
    Session::instance().reset();
    QVERIFY(expected);
}

void TestCodeDialog::generate_followsTheLargestInternalCode_data()
{
    QTest::addColumn<QStringList>("codes");
    QTest::addColumn<QString>("generated");

    QTest::newRow("none yet") << QStringList{"4006381333931", "20000001", "200000000000000"}
                              << "2000000000008";
    QTest::newRow("some") << QStringList{"2000000000008", "2000000000091", "2000000000015",
                                         "3000000000000"}
                          << "2000000000107";
    QTest::newRow("letters sort behind")
        << QStringList{"2000000000008", "2abcdefghijkl"} << "2000000000015";
    QTest::newRow("only letters") << QStringList{"2abcdefghijkl"} << "2000000000008";
    // 13 bytes, which is what one of the databases counts.
    QTest::newRow("Cyrillic") << QStringList{"2000000000008", "2абвгде"} << "2000000000015";
}

void TestCodeDialog::generate_followsTheLargestInternalCode()
{
    QFETCH(QStringList, codes);
    QFETCH(QString, generated);

    for (const QString &code : codes)
        shop::addCode(7, code);
    CodeDialog dialog(0, 7, nullptr);
    click(dialog, "generateCodeButton");
    QCOMPARE(codeEdit(dialog)->text(), generated);
    QCOMPARE(rows("SELECT COUNT(*) FROM codes"), QString::number(codes.size()));
}

void TestCodeDialog::generate_tellsWhenTheRangeIsUsedUp()
{
    shop::addCode(7, "2999999999991");
    CodeDialog dialog(0, 7, nullptr);
    codeEdit(dialog)->setText("4006381333931");
    m_boxes->answer("OK");
    click(dialog, "generateCodeButton");
    QCOMPARE(m_boxes->lastText(), "Внутренние штрих-коды, начинающиеся с 2, закончились.");
    QCOMPARE(codeEdit(dialog)->text(), "4006381333931");
}

void TestCodeDialog::newCode_isStoredAsEntered()
{
    shop::addCode(7, "00123");
    const QString before = currentTimestamp();
    CodeDialog dialog(0, 7, nullptr);
    dialog.show();
    QCOMPARE(dialog.windowTitle(), "Новый штрих-код");
    QCOMPARE(dialog.findChild<QLabel *>("nameLabel")->text(), "Чай <b>\"Заря\"</b> & О'Нил");
    QCOMPARE(packEdit(dialog)->value(), 1.0);

    // 123 is another text than 00123, whatever number a database may see in them.
    QTest::keyClicks(codeEdit(dialog), " 123 ");
    packEdit(dialog)->selectAll();
    QTest::keyClicks(packEdit(dialog), "1,125");
    madeinEdit(dialog)->setText("Кот-д'Ивуар");
    QTest::keyClick(madeinEdit(dialog), Qt::Key_Return);
    QCOMPARE(dialog.result(), 1);
    QCOMPARE(QString::number(dialog.id()), rows("SELECT MAX(id) FROM codes"));
    QCOMPARE(rows("SELECT wareid, code, packquantity, madein, userid FROM codes WHERE code='123'"),
             "7\t123\t1.125\tКот-д'Ивуар\t3");
    const QString timestamp = rows("SELECT timestamp FROM codes WHERE code='123'");
    QVERIFY(before <= timestamp && timestamp <= currentTimestamp());
    QCOMPARE(rows("SELECT COUNT(*) FROM codes"), "2");
}

void TestCodeDialog::savedCode_isLoadedAndChanged()
{
    shop::addCode(7, "О'Нил %1", 2.5);
    QVERIFY(QueryExec(nullptr, "UPDATE codes SET madein='Цейлон', userid='9' WHERE wareid='7';"));
    const qulonglong id = rows("SELECT id FROM codes").toULongLong();
    const QString stamp = rows("SELECT timestamp FROM codes");
    CodeDialog dialog(id, 0, nullptr);
    QCOMPARE(dialog.windowTitle(), "Редактирование штрих-кода");
    QCOMPARE(codeEdit(dialog)->text(), "О'Нил %1");
    QCOMPARE(packEdit(dialog)->value(), 2.5);
    QCOMPARE(madeinEdit(dialog)->text(), "Цейлон");

    // Its own code is no duplicate.
    packEdit(dialog)->setValue(12.5);
    click(dialog, "okPushButton");
    QCOMPARE(dialog.result(), 1);
    QCOMPARE(dialog.id(), id);
    QCOMPARE(rows("SELECT wareid, code, packquantity, madein, userid FROM codes"),
             "7\tО'Нил %1\t12.5\tЦейлон\t9");
    QCOMPARE(rows("SELECT timestamp FROM codes"), stamp);
}

void TestCodeDialog::emptyCode_keepsTheDialogOpen()
{
    CodeDialog dialog(0, 7, nullptr);
    dialog.show();
    dialog.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QTest::keyClicks(codeEdit(dialog), "  ");
    madeinEdit(dialog)->setFocus();
    m_boxes->answer("OK");
    QTest::keyClick(madeinEdit(dialog), Qt::Key_Return);
    QCOMPARE(m_boxes->lastText(), "Пожалуйста, введите штрих-код.");
    QCOMPARE(m_boxes->requests().first().kind, BoxKind::Information);
    QVERIFY(dialog.isVisible());
    QVERIFY(codeEdit(dialog)->hasFocus());
    click(dialog, "cancelPushButton");
    QVERIFY(!dialog.isVisible());
    QCOMPARE(rows("SELECT COUNT(*) FROM codes"), "0");
}

void TestCodeDialog::impossiblePackQuantity_keepsTheDialogOpen_data()
{
    QTest::addColumn<QString>("typed");
    QTest::newRow("emptied") << "";
    QTest::newRow("zero") << "0";
    QTest::newRow("too many decimals") << "1.2345";
    QTest::newRow("too many") << "1000000";
}

void TestCodeDialog::impossiblePackQuantity_keepsTheDialogOpen()
{
    QFETCH(QString, typed);

    CodeDialog dialog(0, 7, nullptr);
    dialog.show();
    codeEdit(dialog)->setText("4006381333931");
    packEdit(dialog)->selectAll();
    QTest::keyClick(packEdit(dialog), Qt::Key_Delete);
    QTest::keyClicks(packEdit(dialog), typed);
    m_boxes->answer("OK");
    QTest::keyClick(packEdit(dialog), Qt::Key_Return);
    QCOMPARE(m_boxes->lastText(), "Пожалуйста, введите количество в упаковке.");
    QVERIFY(dialog.isVisible());
    QCOMPARE(rows("SELECT COUNT(*) FROM codes"), "0");
}

void TestCodeDialog::otherChange_keepsAnExactPackQuantity()
{
    // Another program of the shop stored more decimals than the field shows.
    shop::addCode(7, "4006381333931", 0.12345);
    CodeDialog dialog(rows("SELECT id FROM codes").toULongLong(), 0, nullptr);
    madeinEdit(dialog)->setText("Китай");
    click(dialog, "okPushButton");
    QCOMPARE(rows("SELECT packquantity, madein FROM codes"), "0.12345\tКитай");
}

void TestCodeDialog::takenCode_isRefused_data()
{
    QTest::addColumn<QString>("code");
    QTest::newRow("digits") << "4006381333931";
    QTest::newRow("quote and place markers") << "О'Нил %2 %1";
    QTest::newRow("backslash") << "a\\";
}

void TestCodeDialog::takenCode_isRefused()
{
    QFETCH(QString, code);

    shop::addCode(7, code);
    CodeDialog dialog(0, 8, nullptr);
    dialog.show();
    codeEdit(dialog)->setText(code);
    m_boxes->answer("OK");
    click(dialog, "okPushButton");
    QCOMPARE(m_boxes->lastText(), "Штрих-код " + code + " уже присвоен наименованию 7.");
    QVERIFY(dialog.isVisible());
    QCOMPARE(rows("SELECT COUNT(*) FROM codes"), "1");
}

void TestCodeDialog::missingRow_endsTheDialog()
{
    m_boxes->answer("OK");
    CodeDialog dialog(4200000, 0, nullptr);
    QCOMPARE(m_boxes->lastText(), "Ошибка получения свойств штрих-кода");
    QCOMPARE(dialog.exec(), 0);
}

void TestCodeDialog::scannedCode_isNotSavedAtOnce()
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

void TestCodeDialog::largeFont_leavesRoomForEverything()
{
    const QFont former = QApplication::font();
    QFont large = former;
    large.setPointSize(16);
    QApplication::setFont(large);
    const auto putBack = qScopeGuard([&] { QApplication::setFont(former); });
    shop::addProduct({.id = 8, .name = QString("Набор посуды для дачи ").repeated(10)});
    shop::addProduct({.id = 9, .name = QString(150, u'Ж')});
    for (const qulonglong id : {7, 8, 9}) {
        CodeDialog dialog(0, id, nullptr);
        codeEdit(dialog)->setText("20000000000084");
        dialog.show();
        const auto *name = dialog.findChild<QLabel *>("nameLabel");
        QVERIFY(name->height() >= name->heightForWidth(name->width()));
        QVERIFY(name->width() >= name->minimumSizeHint().width());
        const QFontMetrics metrics = codeEdit(dialog)->fontMetrics();
        QVERIFY(codeEdit(dialog)->width() > metrics.horizontalAdvance(codeEdit(dialog)->text()));
        for (const QWidget *widget : dialog.findChildren<QWidget *>()) {
            if (widget->parent() == &dialog && widget->isVisible())
                QVERIFY2(dialog.rect().contains(widget->geometry()) &&
                             widget->height() >= widget->minimumSizeHint().height(),
                         qPrintable(widget->objectName()));
        }
    }
}

QTEST_MAIN(TestCodeDialog)
#include "tst_codedialog.moc"
