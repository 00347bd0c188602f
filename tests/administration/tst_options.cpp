#include "administration/optionsdialog.h"
#include "db/session.h"
#include "tests/support/databasetest.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

#include <QTabWidget>

class TestOptions : public DatabaseTest
{
    Q_OBJECT

private slots:
    void changedValues_aloneAreWritten()
    {
        OptionsDialog dialog;
        // Neither the form of a stored value nor one that is wrong makes a change.
        QCOMPARE(child<QComboBox>(dialog, "TIMEZONE")->currentData().toString(), "+3");
        type(dialog, "PHONE", " 8 'б' ");
        child<QCheckBox>(dialog, "ALLOW_OVERSALE")->setChecked(true);
        click(dialog, "savePushButton");
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(rows("SELECT value FROM options WHERE name='PHONE'"), "8 'б'");
        QCOMPARE(rows("SELECT value FROM options WHERE name='ALLOW_OVERSALE'"), "1");
        QCOMPARE(rows("SELECT COUNT(*) FROM options WHERE timestamp<>'old'"), "2");
        QCOMPARE(rows("SELECT value FROM options WHERE name='TIMEZONE'"), "3");
        QCOMPARE(rows("SELECT value FROM options WHERE name='JPEG_QUALITY'"), "bad");
        QCOMPARE(Session::instance().option("PHONE"), "8 'б'");
    }

    void wrongValue_isRefused()
    {
        OptionsDialog dialog;
        dialog.show();
        type(dialog, "INN", "12345");
        m_boxes->answer("OK");
        click(dialog, "savePushButton");
        QCOMPARE(m_boxes->lastText(), "ИНН: Пожалуйста, введите ИНН из 10 или 12 цифр.");
        QCOMPARE(dialog.focusWidget(), child<QLineEdit>(dialog, "INN"));
        type(dialog, "INN", "1234567890");
        child<NumberSpinBox>(dialog, "JPEG_QUALITY")->clear();
        m_boxes->answer("OK");
        click(dialog, "savePushButton");
        QVERIFY(m_boxes->lastText().contains("целое число от 0 до 100"));
        QTest::keyClick(dialog.focusWidget(), Qt::Key_Return); // as a scanner sends it
        QVERIFY(dialog.isVisible());
        m_boxes->answer("Вернуться");
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(dialog.isVisible());
        QCOMPARE(rows("SELECT COUNT(*) FROM options WHERE timestamp<>'old'"), "0");
    }

    void optionsOfOthers_standApart()
    {
        OptionsDialog dialog;
        auto *list = child<QListWidget>(dialog, "groupListWidget");
        list->setCurrentRow(list->count() - 1);
        QCOMPARE(list->currentItem()->text(), "Прочие");
        dialog.show();
        QVERIFY(child<QLineEdit>(dialog, "FOREIGN_TEXT")->isVisible());
        for (const char *secret : {"SHOP_API_TOKEN", "SMS_GATE_PASSWORD", "FOREIGN_WORD"})
            QCOMPARE(child<QLineEdit>(dialog, secret)->echoMode(), QLineEdit::Password);
    }

    void optionChangedElsewhere_isTold()
    {
        OptionsDialog dialog;
        type(dialog, "PHONE", "mine");
        type(dialog, "SMS_GATE_PASSWORD", "mine");
        type(dialog, "FOREIGN_TEXT", "mine");
        type(dialog, "ADDRESS", "mine");
        QVERIFY(QueryExec(nullptr, "UPDATE options SET value='theirs' WHERE name IN('PHONE', "
                                   "'SMS_GATE_PASSWORD')"));
        QVERIFY(QueryExec(nullptr, "DELETE FROM options WHERE name='FOREIGN_TEXT'"));
        m_boxes->answer("Отмена");
        click(dialog, "savePushButton");
        const QString note = m_boxes->requests().last().note;
        QVERIFY2(note.contains("Телефон: было «1», стало «theirs», у Вас «mine»"),
                 qPrintable(note));
        QVERIFY2(note.contains("SMS-шлюз: пароль: изменён\n"), qPrintable(note));
        QVERIFY2(note.contains("FOREIGN_TEXT: удалена"), qPrintable(note));
        QCOMPARE(rows("SELECT COUNT(*) FROM options WHERE value='mine'"), "0");

        m_boxes->answer("Взять новые");
        click(dialog, "savePushButton");
        QCOMPARE(child<QLineEdit>(dialog, "PHONE")->text(), "theirs");
        QCOMPARE(child<QLineEdit>(dialog, "ADDRESS")->text(), "mine");
        type(dialog, "PHONE", "mine again");
        QVERIFY(QueryExec(nullptr, "UPDATE options SET value='newest' WHERE name='PHONE'"));
        m_boxes->answer("Записать мои");
        click(dialog, "savePushButton");
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(rows("SELECT value FROM options WHERE name='PHONE'"), "mine again");
        QCOMPARE(rows("SELECT value FROM options WHERE name='ADDRESS'"), "mine");
        QCOMPARE(rows("SELECT value FROM options WHERE name='SMS_GATE_PASSWORD'"), "theirs");
    }

    void brokenStatement_leavesAllAsItWas()
    {
        OptionsDialog dialog;
        type(dialog, "ADDRESS", "mine");
        type(dialog, "PHONE", "mine");
        int written = 0;
        setStatementObserver([&written](QString &statement, const QString &) {
            if (statement.startsWith("UPDATE options") && ++written % 2 == 0)
                statement = "UPDATE no_such_table SET a=1";
        });
        m_boxes->answer("OK");
        click(dialog, "savePushButton");
        setStatementObserver({});
        QCOMPARE(rows("SELECT COUNT(*) FROM options WHERE value='mine'"), "0");
        QVERIFY(Session::instance().option("PHONE") != "mine");
        click(dialog, "savePushButton"); // what was typed has stayed
        QCOMPARE(rows("SELECT COUNT(*) FROM options WHERE value='mine'"), "2");
    }

private:
    void prepare() override
    {
        openShop(int(Right::ChangeSettings));
        for (const char *statement :
             {"DELETE FROM options WHERE id>=900", "UPDATE options SET value='' WHERE id<9",
              "UPDATE options SET value='1' WHERE name='PHONE'",
              "UPDATE options SET value='32' WHERE name='TAXATION_SYSTEM'",
              "UPDATE options SET value='3' WHERE name='TIMEZONE'",
              "UPDATE options SET value='bad' WHERE name='JPEG_QUALITY'",
              "UPDATE options SET value='0' WHERE name='ALLOW_OVERSALE'",
              "UPDATE options SET value='s' WHERE name='SMS_GATE_PASSWORD'",
              "INSERT INTO options(id,name,value) VALUES(900,'FOREIGN_TEXT','a')",
              "INSERT INTO options(id,name,localname) VALUES(902,'FOREIGN_WORD','Пароль банка')",
              "INSERT INTO options(id,name,value) VALUES(901,'SHOP_API_TOKEN','b')",
              "UPDATE options SET timestamp='old'"})
            QVERIFY(QueryExec(nullptr, statement));
        QVERIFY(Session::instance().refreshOptions(nullptr, mainConnection));
    }
};

QTEST_MAIN(TestOptions)
#include "tst_options.moc"
