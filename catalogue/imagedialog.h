#pragma once

#include <QDialog>
#include <QImage>

#include <memory>

#include "catalogue/wareimages.h"

namespace Ui {
class ImageDialog;
}
class NumberSpinBox;
struct ImportedImage;

/// The title of a picture and how it is made of its original, which stays as it is: the frame that
/// is cut out, turning, colours. What becomes of it is shown as it is changed. The logo of the shop
/// can be changed here, too.
class ImageDialog final : public QDialog
{
    Q_OBJECT

public:
    /// The picture as the user has seen it.
    ImageDialog(const WareImage &image, QWidget *parent);
    ~ImageDialog() override;

    void accept() override;
    void reject() override;

private slots:
    void on_frameCheckBox_toggled(bool on);
    void on_angleSlider_valueChanged(int value);
    void on_saturationSlider_valueChanged(int value);
    void on_turnLeftPushButton_clicked();
    void on_turnRightPushButton_clicked();
    void on_resetPushButton_clicked();
    void on_logoPushButton_clicked();
    void on_nologoPushButton_clicked();
    void on_okPushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    struct Field
    {
        NumberSpinBox *box;
        int &(*member)(ImageEdit &edit);
    };

    void describeFields();
    void connectFields();
    void load();
    void takeOriginal(const QByteArray &bytes);
    void storeLogo(const QByteArray &bytes, const QImage &logo);
    void useLogo(const QImage &logo);
    void showEdit(const ImageEdit &edit);
    void takeFields(const NumberSpinBox *changed);
    void turn(double degrees);
    void preview();
    void fitControls();
    bool check();
    bool isEdited() const;
    WareImage wanted() const;
    bool mayReplace();
    void render(const ImageEdit &edit, void (ImageDialog::*then)());
    void store(const ImportedImage &image, void (ImageDialog::*then)());
    void write();
    void leave();
    void setBusy(const QString &text);
    void tell(const QString &text);

    std::unique_ptr<Ui::ImageDialog> m_ui;
    QList<Field> m_fields;
    WareImage m_seen;
    ImageEdit m_edit;
    QByteArray m_original;
    QSize m_size;     ///< of the original, upright
    QImage m_decoded; ///< as large as it takes to look at it
    QImage m_logo;
    bool m_hasLogo = false; ///< whether it is known, and so what will be made
    bool m_logoChanged = false;
    bool m_filesAhead = false; ///< some may have been made by settings that no row has
    bool m_showing = false;    ///< fields change by themselves
    bool m_previewing = false;
    bool m_previewAgain = false;
    bool m_busy = false;
};
