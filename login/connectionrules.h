#pragma once

#include <QString>
#include <QStringList>

#include <optional>

#include "app/settings.h"

/// What is wrong with a connection entry: the field and a text for the user.
struct ConnectionFault
{
    QString ConnectionEntry::*field;
    QString text;
};

/// The first fault of the name: it is missing or one of takenNames.
std::optional<ConnectionFault> connectionNameFault(const ConnectionEntry &entry,
                                                   const QStringList &takenNames);

/// The first fault of what is needed to connect.
std::optional<ConnectionFault> connectionFault(const ConnectionEntry &entry);

/// The entry without values that its kind of database does not use, and without blanks around
/// names; the password stays as it is.
ConnectionEntry tidyConnection(const ConnectionEntry &entry);
