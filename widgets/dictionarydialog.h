#pragma once

#include <QDialog>
#include <QMap>
#include <QVariantMap>

#include <memory>

#include "widgets/dictionary.h"

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

private slots:
    void on_savePushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    void makeFields();
    void load();
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
};
