#pragma once

#include <QObject>

#include <array>

#include "labels/sheetlayout.h"

class NumberSpinBox;
class QComboBox;
class QGroupBox;
class QWidget;

namespace Ui {
class LabelsDialog;
}

/// The fields of the dialog that stand for the layout of sheet and labels.
class LabelSettingsFields final : public QObject
{
    Q_OBJECT

public:
    LabelSettingsFields(Ui::LabelsDialog *ui, QObject *parent);

    /// What the fields show; of a wrong number the last right one.
    SheetSettings settings() const;
    void show(const SheetSettings &settings);

    /// How many cells of the first sheet stay free.
    int startCell() const;

    /// The first field with a wrong number, or none; *fault: why.
    QWidget *wrongField(QString *fault) const;

signals:
    void changed();

private:
    struct Block
    {
        QGroupBox *group;
        QComboBox *size;
        NumberSpinBox *offset;
    };

    QList<NumberSpinBox *> numbers() const;

    Ui::LabelsDialog *m_ui;
    std::array<Block, labelBlocks> m_blocks;
    bool m_showing = false;
};
