#pragma once

#include <QString>

#include "db/connections.h"

class QWidget;

/// The check digit that belongs to the first 12 characters of an EAN-13 code; further characters
/// are ignored. -1 for a shorter text, which therefore is no EAN-13 code. A character that is not a
/// digit counts as -1, so that the result for such a text means nothing.
int ean13CheckDigit(const QString &code);

/// Whether a text is an internal (in-store) code: 13 decimal digits, the first of them 2.
bool isInternalCode(const QString &code);

/// Whether a text typed into a number field is rather what a scanner fires into whatever field has
/// the focus: digits and nothing else, as many as the shortest barcode has.
bool looksLikeBarcode(const QString &text);

/// The internal code after the largest one in use; the first one for an empty text. An empty
/// result: the text is not an internal code, or it was the last one of the range.
QString nextInternalCode(const QString &maxCode);

/// Looks up which internal code comes next. False when the query failed, which has been reported
/// over the parent. *code is empty when the range is used up.
bool findNextInternalCode(QWidget *parent, QString *code,
                          const QString &connectionName = mainConnection);
