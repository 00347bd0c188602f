#include "app/messages.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/testhome.h"
#include "widgets/messagebox.h"

#include <QMessageBox>
#include <QPushButton>
#include <QTest>

class TestMessageBox : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        installMessageBox();
    }

    void question_isAnsweredByKeyOrMouse()
    {
        const QStringList texts = {"Первая", "Вторая", "Третья"};
        constexpr int aClick = 0;
        const std::pair<int, int> answers[] = {
            {Qt::Key_Return, 1}, {Qt::Key_Space, 1}, {Qt::Key_Escape, 2}, {aClick, 0}};
        for (const auto &[key, answer] : answers) {
            m_steps.whenOpen<QMessageBox>([key = key, texts](QMessageBox &box) {
                QList<QPushButton *> buttons = box.findChildren<QPushButton *>();
                std::sort(buttons.begin(), buttons.end(),
                          [](auto *left, auto *right) { return left->x() < right->x(); });
                QCOMPARE(buttons.size(), 3);
                for (int i = 0; i < 3; ++i)
                    QCOMPARE(buttons.at(i)->text(), texts.at(i));
                if (key == aClick)
                    QTest::mouseClick(buttons.first(), Qt::LeftButton);
                else
                    QTest::keyClick(box.focusWidget(), static_cast<Qt::Key>(key));
            });
            QCOMPARE(askQuestion(nullptr, "Какая?", texts, 1, 2), answer);
        }
    }

    void data_isShownAsItStands()
    {
        const QString markup = "<img src=\"x\"> <b>Шоколад</b> %1 & Ко";
        QWidget parent;
        m_steps.whenOpen<QMessageBox>([markup](QMessageBox &box) {
            QCOMPARE(box.text(), markup);
            QCOMPARE(box.textFormat(), Qt::PlainText);
            QCOMPARE(box.windowTitle(), "Lavkor");
            QVERIFY(box.isModal());
            QCOMPARE(box.buttons().size(), 1);
            QCOMPARE(box.buttons().first()->text(), "OK");
            QTest::keyClick(&box, Qt::Key_Escape);
        });
        showWarning(&parent, markup);

        m_steps.whenOpen<QMessageBox>([](QMessageBox &box) {
            QCOMPARE(box.textFormat(), Qt::RichText);
            QTest::keyClick(&box, Qt::Key_Escape);
        });
        QCOMPARE(askQuestion(nullptr, {.text = "<h3>Провести?</h3>",
                                       .buttons = {"Да", "Нет"},
                                       .escapeButton = 1,
                                       .html = true}),
                 1);
    }

    void aParentThatGoesTakesItsBox()
    {
        auto *parent = new QWidget;
        m_steps.whenOpen<QMessageBox>([parent](QMessageBox &) { delete parent; });
        QCOMPARE(askQuestion(parent, "Ещё?", {"Да", "Нет"}, 0, 1), 1);
    }

private:
    TestHome m_home;
    DialogSteps m_steps;
};

QTEST_MAIN(TestMessageBox)
#include "tst_messagebox.moc"
