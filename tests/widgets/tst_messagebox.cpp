#include "app/messages.h"
#include "tests/support/testhome.h"
#include "widgets/messagebox.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <functional>

namespace {

const QString markup = QStringLiteral("<img src=\"x\"> <b>Шоколад</b> %1 & Ко");

/// Runs the action as soon as a message box stands open.
void whenOpen(const std::function<void(QMessageBox *)> &action)
{
    QTimer::singleShot(0, qApp, [action] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        QVERIFY(box);
        action(box);
    });
}

void press(QMessageBox *box, Qt::Key key)
{
    QTest::keyClick(box->focusWidget() ? box->focusWidget() : box, key);
}

} // namespace

class TestMessageBox : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void question_isAnsweredByKeyOrMouse_data();
    void question_isAnsweredByKeyOrMouse();
    void data_isShownAsItStands();

private:
    TestHome m_home;
};

void TestMessageBox::initTestCase()
{
    installMessageBox();
}

void TestMessageBox::question_isAnsweredByKeyOrMouse_data()
{
    QTest::addColumn<int>("key"); // 0: a click on the first button
    QTest::addColumn<int>("answer");
    QTest::newRow("Return takes the default") << int(Qt::Key_Return) << 1;
    QTest::newRow("Space takes the default") << int(Qt::Key_Space) << 1;
    QTest::newRow("Escape takes its own button") << int(Qt::Key_Escape) << 2;
    QTest::newRow("a click takes the button clicked") << 0 << 0;
}

void TestMessageBox::question_isAnsweredByKeyOrMouse()
{
    QFETCH(int, key);
    QFETCH(int, answer);
    const QStringList texts = {QStringLiteral("Первая"), QStringLiteral("Вторая"),
                               QStringLiteral("Третья")};
    whenOpen([key, texts](QMessageBox *box) {
        QList<QPushButton *> buttons = box->findChildren<QPushButton *>();
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
    QCOMPARE(askQuestion(nullptr, QStringLiteral("Какая?"), texts, 1, 2), answer);
}

void TestMessageBox::data_isShownAsItStands()
{
    QWidget parent;
    whenOpen([](QMessageBox *box) {
        QCOMPARE(box->text(), markup);
        QCOMPARE(box->textFormat(), Qt::PlainText);
        QCOMPARE(box->windowTitle(), QStringLiteral("Lavkor"));
        QVERIFY(box->isModal());
        QCOMPARE(box->buttons().size(), 1);
        QCOMPARE(box->buttons().first()->text(), QStringLiteral("OK"));
        press(box, Qt::Key_Escape);
    });
    showWarning(&parent, markup);

    whenOpen([](QMessageBox *box) {
        QCOMPARE(box->textFormat(), Qt::RichText);
        press(box, Qt::Key_Escape);
    });
    QCOMPARE(askQuestion(nullptr, {.text = QStringLiteral("<h3>Провести?</h3>"),
                                   .buttons = {QStringLiteral("Да"), QStringLiteral("Нет")},
                                   .escapeButton = 1,
                                   .html = true}),
             1);
}

QTEST_MAIN(TestMessageBox)
#include "tst_messagebox.moc"
