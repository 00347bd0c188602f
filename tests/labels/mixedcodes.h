#pragma once

#include "catalogue/barcode.h"

#include <QStringList>

/// Whole codes, short ones, and internal ones, all with the right last digit.
inline QStringList mixedCodes(int count)
{
    QStringList codes;
    for (int i = 0; i < count; ++i) {
        const qulonglong number = qulonglong(i) * 7919 + 1;
        QString code = i % 3 == 0   ? QString::number(400000000000 + number * 504001)
                       : i % 3 == 1 ? QString::number(number * 31 + 1000000)
                                    : QString::number(200000000000 + number);
        code = code.rightJustified(12, u'0').left(12);
        code += QString::number(ean13CheckDigit(code));
        while (i % 3 == 1 && code.startsWith(u'0'))
            code.remove(0, 1);
        codes += code;
    }
    return codes;
}
