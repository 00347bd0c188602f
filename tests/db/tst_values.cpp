#include "db/currencies.h"
#include "db/money.h"
#include "db/passwords.h"

#include <QRegularExpression>
#include <QTest>

#include <cmath>
#include <limits>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

} // namespace

/// Amounts, quantities, prices and passwords: rules that need no database.
class TestValues : public QObject
{
    Q_OBJECT

private slots:
    void money()
    {
        // amount, rounded, shown
        const std::tuple<double, double, const char *> amounts[] = {
            {-0.0, 0, "0"},
            {12.5, 12.5, "12.50"},
            {2.675, 2.68, "2.68"}, // stored as less
            {-0.005, -0.01, "-0.01"},
            {-0.004, 0, "0"},
            {99.999, 100, "100"},
            {0.1 + 0.2, 0.3, "0.30"},
            {1234567.89, 1234567.89, "1234567.89"},
            {1e22, 1e22, "10000000000000000000000"},
            {infinity, infinity, "—"}};
        for (const auto &[amount, rounded, shown] : amounts) {
            QVERIFY2(roundMoney(amount) == rounded, shown);
            QCOMPARE(formatMoney(amount), shown);
        }
    }

    void quantity()
    {
        const std::pair<double, const char *> shown[] = {
            {100, "100"}, {2.0005, "2.001"}, {-0.0004, "0"}, {-12.25, "-12.25"}, {notANumber, "—"}};
        for (const auto &[value, text] : shown)
            QCOMPARE(formatQuantity(value), text);
    }

    void sellingPrice()
    {
        // The products are not quite what they are on paper: 125.99999999999999 and the like.
        // clang-format off
        constexpr std::pair<double, double> prices[] = {
            {0.99, 0}, {19.99, 19}, {20.4, 20}, {22.9, 20}, {23, 25}, {28, 30}, {49.95, 50},
            {99.9, 100}, {105.99, 100}, {115, 110}, {999, 1000}, {-5.7, -5}, {-300.5, -300},
            {1e300, 1e300}, {-1e300, -1e300}, {infinity, infinity}, {90 * 1.4, 130},
            {200 * 1.13, 230}, {10 * 1.9, 19}, {1.1 * 64.78 * 1.5, 110}, {4.35 * 100, 430},
            {1e8 * 1.15 + 6, 115000010}};
        // clang-format on
        for (const auto &[price, rounded] : prices)
            QVERIFY2(roundSellingPrice(price) == rounded, QByteArray::number(price).constData());
        QVERIFY(std::isnan(roundSellingPrice(notANumber)));
    }

    void password_fitsOnlyItself()
    {
        const QString password = "Пароль №1 ё";
        const QString stored = hashPassword(password);
        static const QRegularExpression form(
            "^pbkdf2-sha256\\$\\d{5,}\\$[\\w+/=]{20,}\\$[\\w+/=]{40,}$");
        QVERIFY2(form.match(stored).hasMatch(), qPrintable(stored));
        QVERIFY(verifyPassword(password, stored));
        QVERIFY(verifyPassword("Пароль №1 е\u0308", stored)); // the same letter, typed as two
        QVERIFY(!verifyPassword("пароль №1 ё", stored));
        QVERIFY(!verifyPassword("Пароль №1 ё ", stored));
        QVERIFY(!verifyPassword("", stored));
        QVERIFY(hashPassword(password) != stored); // salted
    }

    void password_storedText()
    {
        // The published test vectors of PBKDF2 with SHA-256: password "password", salt "salt".
        const QString key = "Eg+2z/z4syxD5yJSVsT4N6hlSMkszDVICAWYfLcL4Xs=";
        const QString form = "pbkdf2-sha256$%1$c2FsdA==$%2";
        QVERIFY(verifyPassword("password",
                               form.arg("4096", "xeR41ZKIyEGqUw22hFxMjZYok6ABzk4RpJY4c6qYE0o=")));
        QVERIFY(verifyPassword("password", form.arg("1", key)));
        QVERIFY(verifyPassword("", "")); // no password yet
        const std::pair<QString, QString> refused[] = {
            {"x", ""},
            {"secret", "secret"},
            {"", "md5$1$c2FsdA==$AAAA"},
            {"password", form.arg("1", "")},
            {"password", form.arg("0", key)},
            {"password", form.arg("2000000000", key)}}; // rounds for hours
        for (const auto &[password, stored] : refused)
            QVERIFY2(!verifyPassword(password, stored), qPrintable(stored));
    }
};

QTEST_GUILESS_MAIN(TestValues)
#include "tst_values.moc"
