#include "labels/labelsettings.h"

#include "ui_labelsdialog.h"

#include <QTabWidget>

namespace {

constexpr std::array sizes = {5,  6,  7,  8,  9,  10, 11, 12, 14, 16,
                              18, 20, 22, 24, 28, 32, 36, 48, 72};

void showSize(QComboBox *field, int size)
{
    const QString text = QString::number(size);
    if (field->findText(text) < 0)
        field->addItem(text);
    field->setCurrentText(text);
}

} // namespace

LabelSettingsFields::LabelSettingsFields(Ui::LabelsDialog *ui, QObject *parent)
    : QObject(parent),
      m_ui(ui),
      m_blocks{{{ui->orgnameGroupBox, ui->orgnamesizeComboBox, ui->orgnameyDoubleSpinBox},
                {ui->nameGroupBox, ui->namesizeComboBox, ui->nameyDoubleSpinBox},
                {ui->codeGroupBox, ui->codesizeComboBox, ui->codeyDoubleSpinBox},
                {ui->costGroupBox, ui->costsizeComboBox, ui->costyDoubleSpinBox},
                {ui->brandGroupBox, ui->brandsizeComboBox, ui->brandyDoubleSpinBox}}}
{
    const auto tell = [this] {
        if (!m_showing)
            emit changed();
    };
    for (const Block &block : m_blocks) {
        for (const int size : sizes)
            block.size->addItem(QString::number(size));
        connect(block.group, &QGroupBox::toggled, this, tell);
        connect(block.size, &QComboBox::currentTextChanged, this, tell);
    }
    for (NumberSpinBox *field : numbers())
        connect(field, &QDoubleSpinBox::valueChanged, this, tell);
    for (QSpinBox *field : {ui->rowcntSpinBox, ui->columncntSpinBox, ui->dpiSpinBox,
                            ui->startrowSpinBox, ui->startcolumnSpinBox})
        connect(field, &QSpinBox::valueChanged, this, tell);
    // One may not begin behind the last cell.
    connect(ui->rowcntSpinBox, &QSpinBox::valueChanged, ui->startrowSpinBox, &QSpinBox::setMaximum);
    connect(ui->columncntSpinBox, &QSpinBox::valueChanged, ui->startcolumnSpinBox,
            &QSpinBox::setMaximum);
    connect(ui->frameCheckBox, &QCheckBox::toggled, this, tell);
    connect(ui->orgnameLineEdit, &QLineEdit::textChanged, this, tell);
}

QList<NumberSpinBox *> LabelSettingsFields::numbers() const
{
    QList<NumberSpinBox *> fields = {m_ui->widthDoubleSpinBox, m_ui->heightDoubleSpinBox,
                                     m_ui->xDoubleSpinBox};
    for (const Block &block : m_blocks)
        fields += block.offset;
    return fields;
}

SheetSettings LabelSettingsFields::settings() const
{
    SheetSettings settings;
    for (size_t i = 0; i < m_blocks.size(); ++i)
        settings.blocks.at(i) = {m_blocks.at(i).offset->exact(),
                                 m_blocks.at(i).size->currentText().toInt(),
                                 m_blocks.at(i).group->isChecked()};
    settings.frame = m_ui->frameCheckBox->isChecked();
    settings.rows = m_ui->rowcntSpinBox->value();
    settings.columns = m_ui->columncntSpinBox->value();
    settings.dpi = m_ui->dpiSpinBox->value();
    settings.x = m_ui->xDoubleSpinBox->exact();
    settings.width = m_ui->widthDoubleSpinBox->exact();
    settings.height = m_ui->heightDoubleSpinBox->exact();
    settings.organisation = m_ui->orgnameLineEdit->text();
    return settings;
}

void LabelSettingsFields::show(const SheetSettings &settings)
{
    m_showing = true;
    for (size_t i = 0; i < m_blocks.size(); ++i) {
        const BlockSettings &block = settings.blocks.at(i);
        m_blocks.at(i).offset->setExact(block.offset);
        showSize(m_blocks.at(i).size, block.size);
        m_blocks.at(i).group->setChecked(block.on);
    }
    m_ui->frameCheckBox->setChecked(settings.frame);
    m_ui->rowcntSpinBox->setValue(settings.rows);
    m_ui->columncntSpinBox->setValue(settings.columns);
    m_ui->startrowSpinBox->setMaximum(settings.rows);
    m_ui->startcolumnSpinBox->setMaximum(settings.columns);
    m_ui->dpiSpinBox->setValue(settings.dpi);
    m_ui->xDoubleSpinBox->setExact(settings.x);
    m_ui->widthDoubleSpinBox->setExact(settings.width);
    m_ui->heightDoubleSpinBox->setExact(settings.height);
    m_ui->orgnameLineEdit->setText(settings.organisation);
    m_showing = false;
    emit changed();
}

int LabelSettingsFields::startCell() const
{
    return (m_ui->startrowSpinBox->value() - 1) * m_ui->columncntSpinBox->value() +
           m_ui->startcolumnSpinBox->value() - 1;
}

QWidget *LabelSettingsFields::wrongField(QString *fault) const
{
    for (NumberSpinBox *field : numbers()) {
        if (field->hasAcceptableInput())
            continue;
        *fault = field->fault();
        return field;
    }
    return nullptr;
}
