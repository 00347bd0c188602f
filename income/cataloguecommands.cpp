#include "income/cataloguecommands.h"

#include "catalogue/articlesync.h"
#include "catalogue/codesdialog.h"
#include "catalogue/costdialog.h"
#include "catalogue/dictionaries.h"
#include "catalogue/groupdialog.h"
#include "catalogue/imagesync.h"
#include "catalogue/referencedialog.h"
#include "catalogue/stockdialog.h"
#include "catalogue/waredialog.h"
#include "catalogue/warehousedialog.h"
#include "db/connections.h"
#include "widgets/dictionarylist.h"
#include "widgets/runwithprogress.h"
#include "widgets/slotnames.h"

#include <QMainWindow>
#include <QMenu>

#include <utility>

CatalogueCommands::CatalogueCommands(QMainWindow *window,
                                     std::function<qulonglong()> currentProduct,
                                     std::function<QList<qulonglong>()> selectedProducts)
    : QObject(window),
      m_window(window),
      m_currentProduct(std::move(currentProduct)),
      m_selectedProducts(std::move(selectedProducts))
{
    connectSlots(this, window);
}

void CatalogueCommands::addDictionaries(QMenu *menu)
{
    const std::pair<DictionaryName, QString> dictionaries[] = {
        {DictionaryName::Groups, tr("Группы...")},
        {DictionaryName::Brands, tr("Производители...")},
        {DictionaryName::Suppliers, tr("Поставщики...")},
        {DictionaryName::Units, tr("Единицы измерения...")},
        {DictionaryName::Properties, tr("Свойства...")},
        {DictionaryName::Collections, tr("Коллекции...")},
        {DictionaryName::Locales, tr("Языки переводов...")},
    };
    for (const auto &[name, text] : dictionaries) {
        const DictionaryName dictionary = name;
        connect(menu->addAction(text), &QAction::triggered, this, [this, dictionary] {
            const CommandScope command;
            makeDictionary(dictionary, m_window)->exec();
            emit changed(0);
        });
    }
}

void CatalogueCommands::On_changeCostAction_triggered()
{
    if (CostDialog::change(m_window, m_selectedProducts()))
        emit changed(0);
}

void CatalogueCommands::On_changeGroupAction_triggered()
{
    QString result;
    if (!GroupDialog::change(m_window, m_selectedProducts(), result))
        return;
    if (!result.isEmpty())
        emit told(result, true);
    emit changed(0);
}

void CatalogueCommands::on_warehouseAction_triggered()
{
    const CommandScope command;
    WarehouseDialog dialog(m_window);
    const bool chosen = dialog.exec() == QDialog::Accepted;
    emit changed(0);
    if (chosen)
        emit productChosen(dialog.wareid());
}

void CatalogueCommands::on_restAction_triggered()
{
    const CommandScope command;
    StockDialog(m_window).exec();
    emit changed(0); // cards open from there
}

void CatalogueCommands::on_codesAction_triggered()
{
    const CommandScope command;
    CodesDialog(m_window).exec();
    emit changed(0);
}

void CatalogueCommands::on_editWareAction_triggered()
{
    const CommandScope command;
    const qulonglong wareid = m_currentProduct();
    if (wareid == 0)
        emit told(tr("Выберите наименование, карточку которого нужно открыть"), false);
    else
        tellSaved(editProduct(m_window, wareid));
}

void CatalogueCommands::on_createwarePushButton_clicked()
{
    const CommandScope command;
    tellSaved(createProduct(m_window));
}

void CatalogueCommands::on_copywarePushButton_clicked()
{
    const CommandScope command;
    tellSaved(copyProduct(m_window, m_currentProduct()));
}

void CatalogueCommands::on_editwarePushButton_clicked()
{
    on_editWareAction_triggered();
}

void CatalogueCommands::on_comparePushButton_clicked()
{
    showReference(m_currentProduct());
}

void CatalogueCommands::on_wareBaseAction_triggered()
{
    showReference(0);
}

void CatalogueCommands::showReference(qulonglong wareid)
{
    const CommandScope command;
    ReferenceDialog dialog(m_window, wareid);
    dialog.exec();
    if (dialog.isChanged())
        emit changed(wareid);
}

void CatalogueCommands::on_syncArticlesAction_triggered()
{
    const CommandScope command;
    ArticleSync result;
    runWithProgress(m_window, tr("Синхронизация артикулов"), Stopping::Harmless,
                    [&](Progress &progress) { result = syncArticles(m_window, progress.steps()); });
    emit told(syncResult(result), result.read && !result.stopped && result.failed == 0);
}

void CatalogueCommands::on_syncImagesAction_triggered()
{
    auto *sync = new ImageSync(m_window);
    showProgress(m_window, tr("Синхронизация изображений"), sync);
    connect(sync, &BackgroundWork::finished, this, [this, sync] {
        sync->deleteLater();
        emit told(sync->result(), sync->isComplete());
        emit changed(0);
    });
    sync->start();
}

/// Also behind a card that was cancelled: pictures, rows and groups are written from it at once.
void CatalogueCommands::tellSaved(qulonglong wareid)
{
    emit changed(wareid);
    if (wareid != 0)
        emit told(tr("Наименование № %1 сохранено").arg(wareid), true);
}
