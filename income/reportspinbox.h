#pragma once

#include <QSpinBox>

/// The number of a posted receipt. The arrows go to the next one that there is; what is typed may
/// be any number.
class ReportSpinBox final : public QSpinBox
{
    Q_OBJECT

public:
    explicit ReportSpinBox(QWidget *parent = nullptr);

    void stepBy(int steps) override;

signals:
    /// The arrows have led to another receipt.
    void stepped();
};
