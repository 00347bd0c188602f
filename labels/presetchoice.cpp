#include "labels/presetchoice.h"

#include "ui_labelsdialog.h"

#include <QSignalBlocker>

#include "app/messages.h"
#include "db/connections.h"
#include "db/session.h"
#include "labels/labelsettings.h"

using namespace presets;

PresetChoice::PresetChoice(Ui::LabelsDialog *ui, LabelSettingsFields *fields, QDialog *dialog)
    : QObject(dialog),
      m_ui(ui),
      m_fields(fields),
      m_dialog(dialog)
{
}

void PresetChoice::load()
{
    // Another station may have given the shop its name.
    Session::instance().refreshOptions(m_dialog, mainConnection);
    m_presets = readyMade();
    const Read result = read(m_presets);
    if (result != Read::Done)
        m_presets.current = 0;
    if (result != Read::Done && result != Read::Missing)
        QMetaObject::invokeMethod(
            this, [this, result] { tellFault(result); }, Qt::QueuedConnection);
    fill();
    if (m_presets.current >= 0)
        choose(m_presets.current);
    else
        m_fields->show(readyMade().list.first().settings);
    m_shown = m_fields->settings();
}

void PresetChoice::tellFault(Read result)
{
    showWarning(m_dialog, (result == Read::Damaged
                               ? tr("Файл настроек этикеток поврежден и оставлен как есть:\n%1")
                               : tr("Файл настроек этикеток не читается:\n%1"))
                              .arg(filePath()));
}

void PresetChoice::fill()
{
    const QSignalBlocker blocker(m_ui->settingsComboBox);
    m_ui->settingsComboBox->clear();
    for (const LabelPreset &preset : std::as_const(m_presets.list))
        m_ui->settingsComboBox->addItem(preset.name);
    m_ui->settingsComboBox->setCurrentIndex(m_presets.current);
    m_ui->deletePresetPushButton->setEnabled(m_presets.current >= 0);
}

void PresetChoice::choose(int index)
{
    m_presets.current = index;
    m_ui->deletePresetPushButton->setEnabled(index >= 0);
    if (index < 0 || index >= m_presets.list.size())
        return;
    m_ui->presetNameLineEdit->setText(m_presets.list.at(index).name);
    m_fields->show(m_presets.list.at(index).settings);
    m_shown = m_fields->settings();
}

bool PresetChoice::isChanged() const
{
    return !m_unwritten.isEmpty() || m_fields->settings() != m_shown;
}

void PresetChoice::save()
{
    const LabelPreset preset{m_ui->presetNameLineEdit->text().trimmed(), m_fields->settings()};
    if (preset.name.isEmpty()) {
        showInformation(m_dialog, tr("Введите пожалуйста имя настройки."));
        m_ui->presetNameLineEdit->setFocus();
        return;
    }
    bool replace = false;
    if (m_presets.list.size() >= most && !mayReplaceSelected(&replace))
        return;
    if (saveIn(preset, replace, false))
        m_shown = m_fields->settings();
}

bool PresetChoice::mayReplaceSelected(bool *replace) const
{
    if (m_presets.current < 0) {
        showInformation(m_dialog, tr("Заняты все %1 настроек. Выберите ту, которую заменить, или "
                                     "удалите ненужную.")
                                      .arg(most));
        return false;
    }
    *replace = askQuestion(m_dialog,
                           tr("Заняты все %1 настроек. Заменить настройку «%2»?")
                               .arg(most)
                               .arg(m_presets.list.at(m_presets.current).name),
                           {tr("Заменить"), tr("Отмена")}, 1, 1) == 0;
    return *replace;
}

/// The file may have changed since it was read: what is replaced must still be what is shown.
bool PresetChoice::saveIn(const LabelPreset &preset, bool replaceSelected, bool replaceDamaged)
{
    const LabelPresets shown = m_presets;
    bool isFull = false;
    const Write result = change(
        m_presets,
        [&](LabelPresets &stored) {
            for (const LabelPreset &waiting : std::as_const(m_unwritten))
                add(stored, waiting);
            if (!replaceSelected) {
                isFull = stored.list.size() >= most;
                return add(stored, preset);
            }
            if (stored.list.value(shown.current) != shown.list.at(shown.current))
                return false;
            stored.list[shown.current] = preset;
            stored.current = shown.current;
            return true;
        },
        replaceDamaged);
    bool retry = false;
    if (isFull && result == Write::Refused)
        showInformation(m_dialog, tr("Заняты все %1 настроек.").arg(most));
    else if (!tell(result, &retry) && retry)
        return saveIn(preset, replaceSelected, true);
    if (result == Write::Failed && !replaceSelected && add(m_presets, preset))
        m_unwritten += preset; // can be chosen all the same, and goes with the next one
    if (result == Write::Done)
        m_unwritten.clear();
    fill();
    return result == Write::Done;
}

void PresetChoice::remove()
{
    const LabelPresets shown = m_presets;
    if (shown.current < 0 || shown.current >= most - 1)
        return;
    const LabelPreset &chosen = shown.list.at(shown.current);
    if (askQuestion(m_dialog, tr("Удалить настройку «%1»?").arg(chosen.name),
                    {tr("Удалить"), tr("Отмена")}, 1, 1) != 0)
        return;
    if (m_unwritten.removeOne(chosen)) {
        removeAt(m_presets, shown.current);
        fill();
        return;
    }
    const auto take = [&](LabelPresets &stored) {
        return stored.list.value(shown.current) == chosen && removeAt(stored, shown.current);
    };
    bool retry = false;
    Write result = change(m_presets, take);
    if (!tell(result, &retry) && retry) {
        result = change(m_presets, take, true);
        tell(result, &retry);
    }
    if (result != Write::Done && result != Write::Refused)
        return;
    m_presets.list += m_unwritten;
    fill();
}

/// False when nothing was written and the file was not even read; *retry: the user wants a damaged
/// file to be replaced.
bool PresetChoice::tell(Write result, bool *retry)
{
    switch (result) {
    case Write::Done:
        return true;
    case Write::Refused:
        showInformation(m_dialog, tr("Настройки изменила другая программа. Список прочитан заново, "
                                     "выберите настройку еще раз."));
        m_presets.current = -1;
        return true;
    case Write::Failed:
        showWarning(m_dialog, tr("Labels settings save error"));
        return false;
    case Write::Damaged:
        *retry = askQuestion(m_dialog,
                             tr("Файл настроек этикеток поврежден. Заменить его? Прежний останется "
                                "рядом с окончанием .broken."),
                             {tr("Заменить"), tr("Отмена")}, 1, 1) == 0;
        return false;
    }
    return false;
}
