#pragma once

#include <QString>
#include <QStringList>

#include <sqlite3.h>

#include <memory>

/// An SQLite shop of a given size in a file, written past the program for speed.
class BenchShop
{
public:
    /// Creates the schema in the file and that many products, each with one barcode, and carts.
    BenchShop(const QString &path, int products, int cartRows);

    QString path() const;

    /// Groups of different sizes: 7 products; about a third of all; those whose names come last; 30
    /// children with what is left.
    static constexpr qulonglong smallGroup = 1;
    static constexpr qulonglong largeGroup = 2;
    static constexpr qulonglong lastGroup = 3;
    static constexpr qulonglong parentGroup = 4;

    /// Statements that put groups, brands and products into an empty catalogue.
    static QStringList fillCatalogue(int products);

    /// The barcode of a product.
    static QString code(int product);

    /// Names for products: of the goods list that LAVKOR_GOODS_TSV names, else generated.
    static QString name(int product);

    /// Statements that put that many products into the working list, spread over the catalogue,
    /// and take away the traces of the posting before. Another turn takes other
    /// products, where the catalogue is large enough.
    static QStringList fillList(int lines, int products, int turn = 0);

private:
    QString m_path;
};

/// A plain connection of the SQLite C interface, with as much cache as the program gives itself.
class RawSqlite
{
public:
    explicit RawSqlite(const QString &path);
    ~RawSqlite();
    RawSqlite(const RawSqlite &) = delete;
    RawSqlite &operator=(const RawSqlite &) = delete;

    /// Runs one statement to its end; a failure ends the program.
    void run(const QByteArray &sqlText);

private:
    sqlite3 *m_database = nullptr;
};
