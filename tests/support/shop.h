#pragma once

#include <QString>

#include "db/connections.h"
#include "db/session.h"

/// Rows of a small shop for tests, written on a connection whose schema stands. A row that cannot
/// be written is a test failure.
namespace shop {

/// A name with whatever a statement, a placeholder or markup may stumble over.
inline const QString nastyName = QStringLiteral("О'Нил \\ `x` 100% %1 <img src=x> «ё»");

struct Product
{
    qulonglong id = 0;
    QString name = QStringLiteral("Товар");
    double stock = 0;
    double incost = 10;
    double outcost = 20;
    QString currency = QStringLiteral("RUB");
    QString article = {};
    int enabled = 1;
};

void addProduct(const Product &product, const QString &connectionName = mainConnection);

void addCode(qulonglong wareId, const QString &code, double packQuantity = 1,
             const QString &connectionName = mainConnection);

struct Line
{
    qulonglong wareId = 0;
    double quantity = 1;
    double incost = 10;
    double outcost = 20;
    double inoutratio = 0;
    qulonglong userId = 5;
    QString timestamp = QStringLiteral("2026-01-02 03:04:05");
};

/// A line of the working list.
void addLine(const Line &line, const QString &connectionName = mainConnection);

void addAlert(qulonglong wareId, const QString &phone,
              const QString &connectionName = mainConnection);

/// Makes this the user of the session, and an enabled one in `users`.
void logIn(const SessionUser &user);

/// The whole schema in an empty database.
bool create(const QString &connectionName = mainConnection);

} // namespace shop
