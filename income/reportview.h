#pragma once

#include <QAbstractScrollArea>

class ReportPages;

/// Shows the pages of a report one below the other, as wide as there is room.
class ReportView final : public QAbstractScrollArea
{
    Q_OBJECT

public:
    explicit ReportView(QWidget *parent = nullptr);

    /// Shows pages, which must live until others are set; nothing: the text instead.
    void setPages(const ReportPages *pages, const QString &text);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    qreal scale() const;
    qreal sheetHeight() const;
    void setUpScrollBar();

    const ReportPages *m_pages = nullptr;
    QString m_text;
};
