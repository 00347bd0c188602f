#include "widgets/colors.h"

#include <QPalette>

QColor blendColors(const QColor &from, const QColor &to, double part)
{
    const auto mix = [part](int a, int b) {
        return qRound(a + (b - a) * part);
    };
    return QColor(mix(from.red(), to.red()), mix(from.green(), to.green()),
                  mix(from.blue(), to.blue()));
}

QColor warningTextColor(const QPalette &palette)
{
    const bool dark = palette.color(QPalette::Window).lightness() < 128;
    return dark ? QColor(255, 130, 120) : QColor(180, 30, 20);
}

QColor differenceColor(const QPalette &palette)
{
    return blendColors(palette.color(QPalette::Base), QColor(230, 160, 0), 0.3);
}
