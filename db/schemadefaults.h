#pragma once

#include <QList>
#include <QString>

/// A statement that writes a row shipped with the schema, in the common form. Internal to db/.
struct DefaultRow
{
    QString table;
    QString statement;
};

/// All shipped rows in the order of writing. Written over an existing database they leave the rows
/// there alone, except for units, order states and their filters, which are reset.
QList<DefaultRow> defaultRows();
