#pragma once

#include <QDialog>
#include <QList>

#include <memory>

#include "administration/optionstore.h"

class QVBoxLayout;

namespace Ui {
class OptionsDialog;
}

/// Shows the options of the database in groups and writes those that the user has changed.
class OptionsDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit OptionsDialog(QWidget *parent = nullptr);
    ~OptionsDialog() override;

    /// Asks first when something was typed that would be lost.
    void reject() override;

    /// Returns as rejected at once when the options could not be read.
    int exec() override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private slots:
    void on_groupListWidget_currentRowChanged(int row);
    void on_savePushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    struct Editor
    {
        OptionRow row;
        OptionDescription description;
        QWidget *widget;
        QString shown; ///< what the field held before the user came
        int page;
    };

    void fill();
    QVBoxLayout *addPage(const QString &group);
    void addEditor(const OptionRow &row, QVBoxLayout *layout);
    QMap<qulonglong, QString> changes() const;
    bool check();
    bool save();
    bool askToReplace();
    void take(qulonglong id, const OptionRow &now, bool showIt);
    void lead(const Editor &editor);

    std::unique_ptr<Ui::OptionsDialog> m_ui;
    OptionStore m_store;
    bool m_loaded = false;
    QList<Editor> m_editors;
};
