#pragma once

#include <QString>

/// The text stored in users.password for a password: "pbkdf2-sha256$iterations$salt$hash".
QString hashPassword(const QString &password);

/// Whether a stored text is one that some password can fit.
bool isPasswordHash(const QString &stored);

/// Whether a password fits the stored text. An empty stored text stands for "no password yet" and
/// fits only the empty password; a text of another form fits nothing.
bool verifyPassword(const QString &password, const QString &stored);
