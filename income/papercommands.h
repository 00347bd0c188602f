#pragma once

#include <QList>
#include <QObject>

#include <functional>

class QMainWindow;

/// The commands of the main window that put something on paper or into a file: the receipt report,
/// labels, the export of the working list.
class PaperCommands final : public QObject
{
    Q_OBJECT

public:
    /// selectedProducts: those selected in the product table.
    PaperCommands(QMainWindow *window, std::function<QList<qulonglong>()> selectedProducts);

signals:
    /// What a command came to, for the status line.
    void told(const QString &text, bool good);
    /// A window was closed.
    void finished();

private slots:
    void on_printPushButton_clicked();
    void on_labelsButton_clicked();
    void on_exportIncomeInvoiceAction_triggered();
    void On_addToLabelsAction_triggered();

private:
    QMainWindow *m_window;
    std::function<QList<qulonglong>()> m_selectedProducts;
};
