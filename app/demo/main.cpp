#include "app/demo/demoshop.h"

#include "app/settings.h"
#include "db/connections.h"
#include "db/schema.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cstdio>

/// lavkor_demo DATABASE GOODS: makes the SQLite shop of the demonstration.
int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fputs("lavkor_demo DATABASE GOODS\n", stderr);
        return 2;
    }
    ConnectionEntry shop = Settings::localConnection();
    shop.databasename = QFileInfo(arguments.at(1)).absoluteFilePath();
    QString error;
    const bool done = createConnection(nullptr, shop, mainConnection) &&
                      createSchema(nullptr, mainConnection) &&
                      fillDemoShop(arguments.at(2), mainConnection, &error);
    if (!done)
        std::fprintf(stderr, "The demonstration shop was not made. %s\n", qPrintable(error));
    removeConnection(mainConnection);
    return done ? 0 : 1;
}
