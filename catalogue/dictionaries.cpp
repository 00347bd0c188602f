#include "catalogue/dictionaries.h"

#include "catalogue/groupsdialog.h"
#include "catalogue/propertiesdialog.h"
#include "catalogue/simpledictionaries.h"

std::unique_ptr<DictionaryList> makeDictionary(DictionaryName which, QWidget *parent)
{
    switch (which) {
    case DictionaryName::Groups:
        return std::make_unique<GroupsDialog>(parent);
    case DictionaryName::Brands:
        return std::make_unique<BrandsDialog>(parent);
    case DictionaryName::Units:
        return std::make_unique<UnitsDialog>(parent);
    case DictionaryName::Properties:
        return std::make_unique<PropertiesDialog>(parent);
    case DictionaryName::Locales:
        return std::make_unique<LocalesDialog>(parent);
    case DictionaryName::Collections:
        return std::make_unique<CollectionsDialog>(parent);
    case DictionaryName::Suppliers:
        return std::make_unique<SuppliersDialog>(parent);
    }
    return nullptr;
}

Dictionary dictionaryOf(DictionaryName which)
{
    switch (which) {
    case DictionaryName::Groups:
        return GroupsDialog::dictionary();
    case DictionaryName::Brands:
        return BrandsDialog::dictionary();
    case DictionaryName::Units:
        return UnitsDialog::dictionary();
    case DictionaryName::Properties:
        return PropertiesDialog::dictionary();
    case DictionaryName::Locales:
        return LocalesDialog::dictionary();
    case DictionaryName::Collections:
        return CollectionsDialog::dictionary();
    case DictionaryName::Suppliers:
        return SuppliersDialog::dictionary();
    }
    return {};
}

qulonglong openDictionary(DictionaryName which, QWidget *parent, qulonglong current)
{
    const std::unique_ptr<DictionaryList> list = makeDictionary(which, parent);
    list->offerChoice(current);
    list->exec();
    return list->chosen();
}

std::function<QVariant(QWidget *parent, const QVariant &current)>
dictionaryOpener(DictionaryName which)
{
    return [which](QWidget *parent, const QVariant &current) {
        const qulonglong chosen = openDictionary(which, parent, current.toULongLong());
        return chosen == 0 ? QVariant() : QVariant(chosen);
    };
}
