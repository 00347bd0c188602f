#pragma once

#include <QDialog>
#include <QMap>

#include <memory>

#include "administration/stationsettings.h"
#include "widgets/sound.h"

class QLabel;

namespace Ui {
class SettingsDialog;
}

/// Edits the settings of this workstation. They can be tried out as they are entered, and are kept
/// only when they are accepted.
class SettingsDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit SettingsDialog(SettingsParts parts, QWidget *parent = nullptr);
    ~SettingsDialog() override;

    /// Asks first when something was entered that would be lost.
    void reject() override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private slots:
    void on_fontTestPushButton_clicked();
    void on_foundTestPushButton_clicked();
    void on_notFoundTestPushButton_clicked();
    void on_imagesPage_trialWanted();
    void on_friendImagesPage_trialWanted();
    void on_scalesTypeComboBox_currentIndexChanged(int index);
    void on_scalesFindPushButton_clicked();
    void on_scalesTestPushButton_clicked();
    void on_smsTestPushButton_clicked();
    void on_savePushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    void fillChoices();
    void showValues(const SettingsValues &values);
    SettingsValues entered() const;
    void findPorts();
    bool check(const SettingsCheck &rule);
    void lead(SettingsKey key);
    void tryOut(const SettingsTrial &trial, QLabel *label);
    void trySound(Sound sound);
    static void tell(QLabel *label, const Verdict &verdict);

    std::unique_ptr<Ui::SettingsDialog> m_ui;
    SettingsParts m_parts;
    QMap<SettingsKey, QWidget *> m_fields;
    SettingsValues m_before;            ///< as they hold
    SettingsValues m_shown;             ///< as the fields showed them at first
    QMap<QLabel *, QObject *> m_trials; ///< under way, by the labels of their verdicts
};
