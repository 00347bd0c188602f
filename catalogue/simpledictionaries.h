#pragma once

#include "widgets/dictionarydialog.h"
#include "widgets/dictionarylist.h"

/// The producers of goods.
class BrandsDialog : public DictionaryList
{
    Q_OBJECT

public:
    explicit BrandsDialog(QWidget *parent);

    static Dictionary dictionary();
};

/// The units of quantities, with the decimals that a quantity in them has.
class UnitsDialog : public DictionaryList
{
    Q_OBJECT

public:
    explicit UnitsDialog(QWidget *parent);

    static Dictionary dictionary();
};

/// The languages that products are translated into. Translations refer to them by their codes.
class LocalesDialog : public DictionaryList
{
    Q_OBJECT

public:
    explicit LocalesDialog(QWidget *parent);

    static Dictionary dictionary();
};

/// Collections of products.
class CollectionsDialog : public DictionaryList
{
    Q_OBJECT

public:
    explicit CollectionsDialog(QWidget *parent);

    static Dictionary dictionary();

protected:
    std::unique_ptr<DictionaryDialog> makeDialog(qulonglong id) override;
};

/// Edits a collection, or with id 0 adds one.
class CollectionDialog : public DictionaryDialog
{
    Q_OBJECT

public:
    CollectionDialog(qulonglong id, QWidget *parent);
};

/// The suppliers.
class SuppliersDialog : public DictionaryList
{
    Q_OBJECT

public:
    explicit SuppliersDialog(QWidget *parent);

    static Dictionary dictionary();

protected:
    std::unique_ptr<DictionaryDialog> makeDialog(qulonglong id) override;
};

/// Edits a supplier, or with id 0 adds one.
class SupplierDialog : public DictionaryDialog
{
    Q_OBJECT

public:
    SupplierDialog(qulonglong id, QWidget *parent);
};
