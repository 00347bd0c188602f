#include "bench/children.h"

#include "bench/benchwindow.h"
#include "income/incomeinvoicewindow.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QProcess>
#include <QTest>

#include <cstdio>

namespace {

double residentMegabytes()
{
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
    }
    return 0;
}

void tellShown()
{
    std::printf("shown %.1f\n", residentMegabytes());
    std::fflush(stdout);
}

} // namespace

int runChild(const QStringList &arguments)
{
    if (arguments.contains("--empty-window")) {
        QWidget window;
        window.resize(1180, 700);
        window.show();
        if (!QTest::qWaitForWindowExposed(&window))
            return 1;
        tellShown();
        return 0;
    }
    if (arguments.contains("--first-window")) {
        openBenchWindowUpToLogin(
            {.name = "bench", .dbtype = "sqlite", .databasename = arguments.last()}, tellShown);
        return 0;
    }
    const qsizetype shop = arguments.indexOf("--shop-window");
    if (shop < 0)
        return -1;
    const auto window = openBenchWindow(
        {.name = "bench", .dbtype = "sqlite", .databasename = arguments.at(shop + 1)});
    tellShown();
    return 0;
}

ChildResult startChild(const QStringList &arguments)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer clock;
    clock.start();
    child.start(QCoreApplication::applicationFilePath(), arguments);
    while (!child.canReadLine()) {
        if (!child.waitForReadyRead(60000))
            qFatal("the child does not show its window");
    }
    ChildResult result;
    result.milliseconds = double(clock.nsecsElapsed()) / 1e6;
    result.megabytes = child.readLine().trimmed().split(' ').last().toDouble();
    child.waitForFinished();
    return result;
}
