#pragma once

#include <QString>
#include <QStringList>

/// Notes in the log who has done what: one line, whatever the texts hold. For what has happened for
/// good, behind its COMMIT.
void noteAction(const QString &what);

/// "name: before → after" for a line of that kind; empty when both are the same.
QString noted(const QString &name, const QString &before, const QString &after);

/// The same of a secret, neither of which may stand in a log: "name: изменён".
QString notedSecret(const QString &name);

/// A text as it may stand in a line of the log: signs that break or turn it become visible.
QString onOneLine(const QString &text);
