#pragma once

#include "widgets/dictionarydialog.h"
#include "widgets/dictionarylist.h"

/// What the values of a property are, as stored in properties.type. Other numbers are kept and
/// their values treated as numbers.
enum class PropertyType {
    Number = 0, ///< wareproperties.value
    List = 1,   ///< wareproperties.enumid, one of the items
    Flag = 2,   ///< wareproperties.value, 0 or 1
};

/// The properties that products can have.
class PropertiesDialog : public DictionaryList
{
    Q_OBJECT

public:
    explicit PropertiesDialog(QWidget *parent);

    static Dictionary dictionary();

protected:
    std::unique_ptr<DictionaryDialog> makeDialog(qulonglong id) override;
};

/// Edits a property and the items of a list, or with id 0 adds one.
class PropertyDialog : public DictionaryDialog
{
    Q_OBJECT

public:
    PropertyDialog(qulonglong id, QWidget *parent);

protected:
    bool mayBeSaved() override;

private:
    PropertyType type() const;
    void showType(const QVariant &defaultValue);
    void editItems();

    QPushButton *m_itemsButton;
};

/// The items of a property that is a list.
class PropertyItemsDialog : public DictionaryList
{
    Q_OBJECT

public:
    PropertyItemsDialog(qulonglong propertyId, QWidget *parent);

    static Dictionary dictionary();

protected:
    std::unique_ptr<DictionaryDialog> makeDialog(qulonglong id) override;

private:
    qulonglong m_propertyId;
};

/// The SELECT of the items of a property: ids and texts.
QString propertyItemsQuery(qulonglong propertyId);
