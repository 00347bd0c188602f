#include "bench/children.h"

#include "bench/benchshop.h"
#include "bench/benchwindow.h"
#include "income/incomeinvoicewindow.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QProcess>
#include <QTableView>
#include <QTest>

#include <cstdio>

namespace {

/// The most memory that this process has used, in MB.
double peakMegabytes()
{
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
    }
    return 0;
}

void tell()
{
    std::printf("done %.1f\n", peakMegabytes());
    std::fflush(stdout);
}

/// What a day brings: filters, a receipt, the lists read anew.
void work(IncomeInvoiceWindow &window, const QString &path)
{
    auto *filter = window.findChild<QLineEdit *>("namefilterLineEdit");
    auto *products = window.findChild<QTableView *>("warehouseTableView");
    for (const char *text : {"О", "№ 99", "", "а", ""}) {
        filter->setText(text);
        QTest::qWait(600); // the filter's own delay is over
        for (int page = 0; page < 500; ++page) {
            products->scrollToBottom();
            QCoreApplication::processEvents();
        }
        products->scrollToTop();
        QCoreApplication::processEvents();
    }
    {
        RawSqlite raw(path);
        for (const QString &statement : BenchShop::fillList(1000, 100000))
            raw.run(statement.toUtf8());
    }
    if (window.postReceipt(PaymentType::Cash).outcome != PostingOutcome::Posted)
        qFatal("the posting failed");
    emit window.findChild<QComboBox *>("groupfilterComboBox")->activated(0);
    QCoreApplication::processEvents();
}

} // namespace

int runChild(const QStringList &arguments)
{
    const bool atWork = arguments.contains("--shop-at-work");
    if (!atWork && !arguments.contains("--shop-window"))
        return -1;
    const QString &path = arguments.last();
    const auto window =
        openBenchWindow({.name = "bench", .dbtype = "sqlite", .databasename = path});
    if (atWork)
        work(*window, path);
    tell();
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
