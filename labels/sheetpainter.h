#pragma once

#include <QFont>
#include <QList>
#include <QPainter>
#include <QString>

#include <array>

#include "labels/sheetlayout.h"

/// What stands on a label beside the organisation.
struct LabelText
{
    QString code;
    QString name;
    QString price;
    QString brand;
};

/// A label and its cell, from 0.
struct PlacedLabel
{
    int row = 0;
    int column = 0;
    LabelText text;
};

/// Paints sheets with any painter whose units are dots of the sheet's resolution.
class SheetPainter
{
public:
    SheetPainter(QPainter *painter, const SheetSettings &settings);

    /// The frame, when there is one, and the labels of a sheet. The painter is best moved to where
    /// the grid stands, since the origin moves only the beginnings of the frame's lines.
    void paintSheet(const QList<PlacedLabel> &labels, QPoint origin = {});

    /// The bars and digits of a code, with the painter's font. Nothing for a code with more than 13
    /// signs; a sign that is no digit has no bars.
    static void paintBarcode(QPainter &painter, const QRect &rectangle, const QString &code);

private:
    void paintLabel(const LabelText &label, const QRect &cell);
    void paintText(LabelBlock block, const QRect &cell, const QString &text);
    int roomBelow(LabelBlock block, const QRect &cell) const;

    QPainter *m_painter;
    SheetSettings m_settings;
    SheetLayout m_layout;
    std::array<QFont, labelBlocks> m_fonts;
};
