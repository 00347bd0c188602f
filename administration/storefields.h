#pragma once

#include <QMap>
#include <QWidget>

#include <memory>

#include "app/settings.h"

class QLabel;

namespace Ui {
class StoreFields;
}

/// The fields that say where pictures are kept: in a directory or on a WebDAV server.
class StoreFields final : public QWidget
{
    Q_OBJECT

public:
    enum class Owner { Own, Reference };

    explicit StoreFields(QWidget *parent = nullptr);
    ~StoreFields() override;

    /// Whose pictures they are: the fields are named after it, and those of the reference may be
    /// kept together with ours.
    void setOwner(Owner owner);

    /// The fields by what they edit.
    QMap<SettingsKey, QWidget *> fields() const;

    /// Where what comes of a trial is shown.
    QLabel *resultLabel() const;

    /// Shows the fields that the kind of store has.
    void fitToType();

signals:
    void trialWanted();

private slots:
    void on_storePathBrowsePushButton_clicked();

private:
    std::unique_ptr<Ui::StoreFields> m_ui;
    Owner m_owner = Owner::Own;
};
