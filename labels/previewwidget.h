#pragma once

#include <QWidget>

#include "labels/sheetpainter.h"

/// A sheet as it will be printed, as large as there is room or as it is on paper.
class PreviewWidget final : public QWidget
{
    Q_OBJECT

public:
    explicit PreviewWidget(QWidget *parent = nullptr);

    /// Shows a sheet. Nothing is read when it is painted.
    void setSheet(const SheetSettings &settings, const QList<PlacedLabel> &labels);

    /// Whether it is shown in its real size and not as large as there is room.
    void setRealSize(bool real);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QSizeF realSize() const;
    void resizeToSheet();

    SheetSettings m_settings;
    QList<PlacedLabel> m_labels;
    bool m_real = false;
};
