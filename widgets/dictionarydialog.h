#pragma once

#include <QDialog>
#include <QMap>
#include <QVariantMap>

#include <memory>

#include "widgets/dictionary.h"

class QComboBox;
class QPushButton;

namespace Ui {
class DictionaryDialog;
}

/// Edits one entry of a dictionary or adds one. Its fields are made from the description.
class DictionaryDialog : public QDialog
{
    Q_OBJECT

public:
    /// id 0: a new entry, with these values of its Fixed fields. An entry that cannot be read ends
    /// the dialog as rejected.
    DictionaryDialog(const Dictionary &dictionary, qulonglong id, QWidget *parent,
                     const QVariantMap &fixed = {});
    ~DictionaryDialog() override;

    /// The id of the entry; after an entry was added its own.
    qulonglong id() const;

    /// Asks first when something was typed that would be lost.
    void reject() override;

    void setVisible(bool visible) override;

protected:
    /// Whether what was entered may be written as far as the fields alone do not tell; otherwise it
    /// has been told.
    virtual bool mayBeSaved();

    /// The widget of a column's field.
    QWidget *fieldWidget(const QString &column) const;

    /// The same for a choice.
    QComboBox *choiceWidget(const QString &column) const;

    /// What the widget of a column holds now.
    QVariant fieldValue(const QString &column) const;

    /// Puts another field in the place of one, with a value.
    void replaceField(const QString &column, const DictionaryField &field, const QVariant &value);

    /// Shows a value as if it had been entered.
    void setFieldValue(const QString &column, const QVariant &value);

    /// The entry as the user knows it; of a new one its fixed values.
    QVariantMap &seen();

    /// Goes on as the dialog of an entry that is there, with what was entered.
    bool continueWith(qulonglong id);

    /// Checks and writes what was entered. False when it was not written.
    bool store();

    /// Text above the fields.
    void showHeading(const QString &text);

    /// A button for a further command, in front of the others.
    QPushButton *addCommand(const QString &text, const QString &name, const QString &toolTip);

private:
    void saveAndClose();
    QWidget *makeField(const DictionaryField &field);
    QWidget *withOpener(const DictionaryField &field, QWidget *widget);
    void arrangeTabs();
    void makeFields();
    void load();
    QVariantMap shownValues() const;
    bool checkRepeat(const DictionaryField &field, QWidget *widget);
    QList<DictionaryField> fieldsInOrder() const;
    DictionaryField fieldOf(const QString &column) const;
    bool isUntouched(const DictionaryField &field) const;
    QVariantMap entered() const;
    bool check();
    bool save();
    bool askToOverwrite(const QVariantMap &before);
    bool askToAddAnew();

    std::unique_ptr<Ui::DictionaryDialog> m_ui;
    Dictionary m_dictionary;
    qulonglong m_id;
    QVariantMap m_seen; ///< the entry as the user knows it; of a new one the fixed values
    QMap<QString, QWidget *> m_widgets; ///< by column
    QMap<QString, QString> m_shown;     ///< numbers as the user first saw them, by column
    QVariantMap m_initial;              ///< what all widgets held at first, by column
    bool m_hasPlace = false;            ///< its size is the one kept
};
