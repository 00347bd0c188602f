#include "app/messages.h"
#include "tests/support/datatable.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/testhome.h"
#include "widgets/messagebox.h"

#include <QMessageBox>
#include <QPushButton>

namespace {

const QString markup = "<img src=\"x\"> <b>Шоколад</b> %1 & Ко";

void press(QMessageBox &box, Qt::Key key)
{
    QTest::keyClick(box.focusWidget() ? box.focusWidget() : &box, key);
}

} // namespace

class TestMessageBox : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        installMessageBox();
    }

    void question_isAnsweredByKeyOrMouse_data()
    {
        // key: 0 for a click on the first button
        addColumns<int, int>("key", "answer");
        addRow("Return takes the default", int(Qt::Key_Return), 1);
        addRow("Space takes the default", int(Qt::Key_Space), 1);
        addRow("Escape takes its own button", int(Qt::Key_Escape), 2);
        addRow("a click takes the button clicked", 0, 0);
    }

    void question_isAnsweredByKeyOrMouse()
    {
        const auto [key, answer] = rowValues<int, int>();
        const QStringList texts = {"Первая", "Вторая", "Третья"};
        m_steps.whenOpen<QMessageBox>([key = key, texts](QMessageBox &box) {
            QList<QPushButton *> buttons = box.findChildren<QPushButton *>();
            std::sort(buttons.begin(), buttons.end(),
                      [](QPushButton *left, QPushButton *right) { return left->x() < right->x(); });
            QStringList shown;
            for (const QPushButton *button : std::as_const(buttons))
                shown += button->text();
            QCOMPARE(shown, texts);
            if (key == 0)
                QTest::mouseClick(buttons.first(), Qt::LeftButton);
            else
                press(box, static_cast<Qt::Key>(key));
        });
        QCOMPARE(askQuestion(nullptr, "Какая?", texts, 1, 2), answer);
    }

    void data_isShownAsItStands()
    {
        QWidget parent;
        m_steps.whenOpen<QMessageBox>([](QMessageBox &box) {
            QCOMPARE(box.text(), markup);
            QCOMPARE(box.textFormat(), Qt::PlainText);
            QCOMPARE(box.windowTitle(), "Lavkor");
            QVERIFY(box.isModal());
            QCOMPARE(box.buttons().size(), 1);
            QCOMPARE(box.buttons().first()->text(), "OK");
            press(box, Qt::Key_Escape);
        });
        showWarning(&parent, markup);

        m_steps.whenOpen<QMessageBox>([](QMessageBox &box) {
            QCOMPARE(box.textFormat(), Qt::RichText);
            press(box, Qt::Key_Escape);
        });
        QCOMPARE(askQuestion(nullptr, {.text = "<h3>Провести?</h3>",
                                       .buttons = {"Да", "Нет"},
                                       .escapeButton = 1,
                                       .html = true}),
                 1);
    }

private:
    TestHome m_home;
    DialogSteps m_steps;
};

QTEST_MAIN(TestMessageBox)
#include "tst_messagebox.moc"
