#include "db/currencies.h"
#include "db/money.h"
#include "db/passwords.h"
#include "tests/support/datatable.h"

#include <QRegularExpression>

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
    void money_data()
    {
        addColumns<double, double, QString>("amount", "rounded", "shown");
        addRow("zero", 0.0, 0.0, "0");
        addRow("minus zero", -0.0, 0.0, "0");
        addRow("whole", 120.0, 120.0, "120");
        addRow("one decimal", 12.5, 12.5, "12.50");
        addRow("two decimals", 1234567.89, 1234567.89, "1234567.89");
        addRow("half up, stored as less", 2.675, 2.68, "2.68");
        addRow("half up, stored as less, small", 1.005, 1.01, "1.01");
        addRow("half of a cent below zero", -0.005, -0.01, "-0.01");
        addRow("less than half a cent", -0.004, 0.0, "0");
        addRow("carry over the point", 9.995, 10.0, "10");
        addRow("carry to a new digit", 99.999, 100.0, "100");
        addRow("noise of a sum", 0.1 + 0.2, 0.3, "0.30");
        addRow("tiny", 1e-300, 0.0, "0");
        addRow("1e15", 1e15, 1e15, "1000000000000000");
        addRow("beyond whole precision", 1e22, 1e22, "10000000000000000000000");
        addRow("price divided by nothing", infinity, infinity, "—");
    }

    void money()
    {
        const auto [amount, rounded, shown] = rowValues<double, double, QString>();
        QVERIFY(roundMoney(amount) == rounded);
        QCOMPARE(formatMoney(amount), shown);
    }

    void quantity()
    {
        const std::pair<double, const char *> shown[] = {
            {0, "0"},          {100, "100"},   {0.125, "0.125"},   {1.5, "1.5"},
            {2.0005, "2.001"}, {-0.0004, "0"}, {-12.25, "-12.25"}, {notANumber, "—"}};
        for (const auto &[value, text] : shown)
            QCOMPARE(formatQuantity(value), text);
    }

    void typedNumber_data()
    {
        addColumns<QString, bool, double>("text", "valid", "value");
        addRow("point", "12.5", true, 12.5);
        addRow("comma", "12,5", true, 12.5);
        addRow("blanks", " 1 234 567,89 ", true, 1234567.89);
        addRow("no-break blanks", "1\u00a0234\u202f567", true, 1234567.0);
        addRow("minus", "-3", true, -3.0);
        addRow("typographic minus", "−3", true, -3.0);
        addRow("no whole part", ",5", true, 0.5);
        addRow("no decimals", "5,", true, 5.0);
        addRow("empty", "", false, 0.0);
        addRow("only a comma", ",", false, 0.0);
        addRow("two commas", "1,234,567", false, 0.0);
        addRow("exponent", "1e5", false, 0.0);
        addRow("hexadecimal", "0x10", false, 0.0);
        addRow("infinity", "inf", false, 0.0);
        addRow("beyond all numbers", QString(400, '9'), false, 0.0);
        addRow("words", "12 шт", false, 0.0);
    }

    void typedNumber()
    {
        const auto [text, valid, value] = rowValues<QString, bool, double>();
        bool ok = !valid;
        QCOMPARE(parseNumber(text, &ok), value);
        QCOMPARE(ok, valid);
        QCOMPARE(parseNumber(text, nullptr), value);
    }

    void sellingPrice()
    {
        // The products are not quite what they are on paper: 125.99999999999999 and the like.
        // clang-format off
        constexpr std::pair<double, double> prices[] = {
            {0.99, 0}, {19.99, 19}, {20.4, 20}, {22.9, 20}, {23, 25}, {27.99, 25}, {28, 30},
            {49.95, 50}, {99.9, 100}, {105.99, 100}, {106, 110}, {115, 110}, {125.9, 120},
            {999, 1000}, {-5.7, -5}, {-300.5, -300}, {1e19, 1e19}, {1e300, 1e300},
            {-1e300, -1e300}, {infinity, infinity}, {90 * 1.4, 130}, {200 * 1.13, 230},
            {1780 * 1.15, 2050}, {10 * 1.9, 19}, {1.1 * 64.78 * 1.5, 110}, {4.35 * 100, 430},
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

    void password_storedText_data()
    {
        addColumns<QString, QString, bool>("stored", "password", "fits");
        // The published test vectors of PBKDF2 with SHA-256: password "password", salt "salt".
        const QString key = "Eg+2z/z4syxD5yJSVsT4N6hlSMkszDVICAWYfLcL4Xs=";
        const QString form = "pbkdf2-sha256$%1$c2FsdA==$%2";
        addRow("1 round", form.arg("1", key), "password", true);
        addRow("4096 rounds", form.arg("4096", "xeR41ZKIyEGqUw22hFxMjZYok6ABzk4RpJY4c6qYE0o="),
               "password", true);
        addRow("other password", form.arg("1", key), "Password", false);
        addRow("no password yet", "", "", true);
        addRow("no password yet, one given", "", "x", false);
        addRow("plain text", "secret", "secret", false);
        addRow("other method", "md5$1$c2FsdA==$AAAA", "", false);
        addRow("no key", "pbkdf2-sha256$1$c2FsdA==$", "password", false);
        addRow("no rounds", form.arg("0", key), "password", false);
        addRow("rounds for hours", form.arg("2000000000", key), "password", false);
    }

    void password_storedText()
    {
        const auto [stored, password, fits] = rowValues<QString, QString, bool>();
        QCOMPARE(verifyPassword(password, stored), fits);
    }
};

QTEST_GUILESS_MAIN(TestValues)
#include "tst_values.moc"
