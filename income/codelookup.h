#pragma once

#include "catalogue/codesearch.h"

/// Offers to look a code up in the reference database when lookUpCode() did not find it, and finds
/// the local product of the same unique identifier. In-store codes (beginning with "2") and short
/// texts are not offered, nor anything while no reference database is connected. Of a product that
/// only the reference database knows a card opens, filled in with what is known there. Without ask
/// it is looked up at once.
CodeResult lookUpReferenceCode(QWidget *parent, const QString &text, bool ask = true);
