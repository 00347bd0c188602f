#pragma once

#include <QFrame>

class QLabel;
struct EntryNews;

/// What was just scanned, legible from two metres: the name, how many are in the receipt, the
/// selling price; a miss in red.
class ScanBar final : public QFrame
{
    Q_OBJECT

public:
    explicit ScanBar(QWidget *parent = nullptr);

    /// Shows a product. Texts are plain.
    void showProduct(const QString &name, const QString &quantity, const QString &price,
                     const QString &warning = {});

    /// Shows what a code or an entry came to.
    void showNews(const EntryNews &news);

    /// Shows in red what is missing or wrong.
    void showMiss(const QString &text);

    /// What it says, for who cannot see it.
    QString text() const;

protected:
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void show(const QString &headline, const QString &details, bool good);
    void elide();
    void setUpFonts();

    QLabel *m_headline;
    QLabel *m_details;
    QString m_text;
    bool m_settingFonts = false;
};
