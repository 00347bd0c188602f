#pragma once

#include <QObject>

#include "labels/labelpresets.h"

class LabelSettingsFields;
class QDialog;

namespace Ui {
class LabelsDialog;
}

/// The saved layouts in a dialog: chosen, saved and deleted.
class PresetChoice final : public QObject
{
    Q_OBJECT

public:
    PresetChoice(Ui::LabelsDialog *ui, LabelSettingsFields *fields, QDialog *dialog);

    /// Reads the file and shows the layout that was chosen last. A file that cannot be read is told
    /// later, when the dialog stands open.
    void load();

    /// Shows a layout in the fields.
    void choose(int index);

    void save();
    void remove();

    /// Whether there is something that is not saved: in the fields, or of what could not be
    /// written.
    bool isChanged() const;

private:
    void fill();
    void tellFault(presets::Read result);
    bool saveIn(const LabelPreset &preset, bool replaceSelected, bool replaceDamaged);
    bool mayReplaceSelected(bool *replace) const;
    bool tell(presets::Write result, bool *retry);

    Ui::LabelsDialog *m_ui;
    LabelSettingsFields *m_fields;
    QDialog *m_dialog;
    LabelPresets m_presets;
    QList<LabelPreset> m_unwritten; ///< saved by the user, but the file took nothing
    SheetSettings m_shown;          ///< what the fields were given
};
