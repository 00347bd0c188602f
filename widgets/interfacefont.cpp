#include "widgets/interfacefont.h"

#include "app/settings.h"

#include <QApplication>
#include <QFont>

void applyInterfaceFont()
{
    static const QFont system = QApplication::font();
    QFont font = system;
    if (const int points = Settings::instance().intValue(SettingsKey::FontSize); points > 0)
        font.setPointSize(points);
    QApplication::setFont(font);
}
