#include "catalogue/imagedialog.h"

#include "ui_imagedialog.h"

#include "app/messages.h"
#include "db/session.h"
#include "images/background.h"
#include "images/imagefile.h"
#include "images/imagesstore.h"
#include "images/storerequests.h"
#include "widgets/dialogbuttons.h"
#include "widgets/dialogplace.h"

#include <QFileDialog>
#include <QScopedValueRollback>

#include <algorithm>
#include <cmath>

namespace {

constexpr QSize previewRoom(1200, 1200);
constexpr int quarterTurn = 90;
constexpr qsizetype channelMembers = 3;

/// A picture to look at, with the size of the whole one.
struct Preview
{
    QImage image;
    QSize size;
};

Preview previewOf(const QByteArray &original)
{
    const QImage decoded = decodeImage(original, previewRoom);
    return {thumbnailOf(decoded, 2 * previewRoom), readImageHeader(original).size};
}

} // namespace

ImageDialog::ImageDialog(const WareImage &image, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::ImageDialog>()),
      m_seen(image),
      m_edit(image.edit)
{
    m_ui->setupUi(this);
    const QScopedValueRollback showing(m_showing, true); // the frame's box would begin a new frame
    m_ui->titleLineEdit->setText(image.title);
    m_ui->linkCheckBox->setChecked(m_edit.red == m_edit.green && m_edit.red == m_edit.blue);
    m_ui->logoGroupBox->setVisible(Session::instance().hasRight(Right::ChangeSettings));
    m_ui->logoPixmapWidget->setText(tr("нет"));
    describeFields();
    m_ui->frameCheckBox->setChecked(m_edit.width > 0);
    showEdit(m_edit);
    connectFields();
    fitControls();
    load();
    keepDialogSize(this);
}

ImageDialog::~ImageDialog() = default;

void ImageDialog::describeFields()
{
    for (const ImageEditField &field : imageEditFields)
        m_fields +=
            {findChild<NumberSpinBox *>(QLatin1String(field.name) + "SpinBox"), field.member};
}

void ImageDialog::connectFields()
{
    for (const Field &field : std::as_const(m_fields))
        connect(field.box, &NumberSpinBox::valueChanged, this,
                [this, box = field.box] { takeFields(box); });
    connect(m_ui->angleSpinBox, &NumberSpinBox::valueChanged, this,
            [this] { takeFields(m_ui->angleSpinBox); });
    connect(m_ui->frameView, &FrameView::frameChanged, this, [this](QPoint center, int width) {
        m_edit.centerX = center.x();
        m_edit.centerY = center.y();
        m_edit.width = width;
        showEdit(m_edit);
    });
}

/// Takes the files from the store; the title can be changed meanwhile.
void ImageDialog::load()
{
    tell(tr("Оригинал загружается…"));
    getFile(
        this, ImagesStore::instance(), originalsFolder + u'/' + m_seen.fileName,
        [this](const FetchedFile &file) {
            if (file.reason.isEmpty())
                takeOriginal(file.bytes);
            else
                tell(file.missing ? tr("Оригинала нет в хранилище.")
                                  : tr("Оригинал не загружен: %1").arg(file.reason));
        },
        m_seen.id);
    getLogo(this, ImagesStore::instance(), [this](const QImage &logo, const QString &reason) {
        if (reason.isEmpty())
            useLogo(logo);
        else
            tell(tr("Логотип не загружен: %1").arg(reason));
    });
}

void ImageDialog::takeOriginal(const QByteArray &bytes)
{
    runInBackground(
        this, [bytes] { return previewOf(bytes); },
        [this, bytes](const Preview &preview) {
            if (preview.image.isNull()) {
                tell(tr("Оригинал повреждён."));
                return;
            }
            tell({});
            m_original = bytes;
            m_size = preview.size;
            m_decoded = preview.image;
            m_ui->frameView->setImage(m_decoded, m_size);
            showEdit(m_edit);
        });
}

void ImageDialog::useLogo(const QImage &logo)
{
    m_hasLogo = true;
    m_logo = logo;
    m_ui->logoPixmapWidget->setPixmap(QPixmap::fromImage(logo));
    fitControls();
    preview();
}

/// Brings all fields to the settings but for those that say so already.
void ImageDialog::showEdit(const ImageEdit &edit)
{
    const QScopedValueRollback showing(m_showing, true);
    ImageEdit shown = edit;
    if (!m_ui->frameCheckBox->isChecked() && !m_size.isEmpty()) {
        const ImageFrame frame = frameOf(edit, m_size, imageOptions());
        shown.centerX = int(std::lround(frame.center.x()));
        shown.centerY = int(std::lround(frame.center.y()));
        shown.width = int(std::lround(frame.size.width()));
    }
    for (const Field &field : std::as_const(m_fields)) {
        const int value = field.member(shown);
        if (!field.box->hasAcceptableInput() || field.box->exact() != value)
            field.box->showStored(value);
    }
    if (m_ui->angleSpinBox->exact() != edit.angle)
        m_ui->angleSpinBox->setExact(edit.angle);
    m_ui->angleSlider->setValue(int(std::lround(edit.angle)));
    m_ui->saturationSlider->setValue(edit.saturation);
    fitControls();
    preview();
}

void ImageDialog::fitControls()
{
    const bool isReady = !m_decoded.isNull() && !m_busy;
    m_ui->controlsWidget->setEnabled(isReady);
    m_ui->frameView->setEnabled(isReady);
    m_ui->titleLineEdit->setEnabled(!m_busy);
    m_ui->okPushButton->setEnabled(!m_busy);
    m_ui->cancelPushButton->setEnabled(!m_busy);
    for (NumberSpinBox *box : {m_ui->centerxSpinBox, m_ui->centerySpinBox, m_ui->widthSpinBox})
        box->setEnabled(m_ui->frameCheckBox->isChecked());
    m_ui->nologoPushButton->setEnabled(!m_logo.isNull());
}

/// Takes over what was entered into a field, with the same of the other colours when they go
/// together.
void ImageDialog::takeFields(const NumberSpinBox *changed)
{
    if (m_showing)
        return;
    if (changed == m_ui->angleSpinBox)
        m_edit.angle = changed->value();
    const qsizetype colours = m_fields.size() - channelMembers * channelMembers;
    for (qsizetype i = 0; i < m_fields.size(); ++i) {
        if (m_fields.at(i).box != changed)
            continue;
        const int value = int(std::lround(changed->value()));
        m_fields.at(i).member(m_edit) = value;
        if (i < colours || !m_ui->linkCheckBox->isChecked())
            continue;
        const qsizetype first = i - (i - colours) % channelMembers;
        for (qsizetype other = first; other < first + channelMembers; ++other)
            m_fields.at(other).member(m_edit) = value;
    }
    showEdit(m_edit);
}

void ImageDialog::on_frameCheckBox_toggled(bool on)
{
    if (m_showing)
        return;
    m_edit.width = 0;
    if (on) {
        ImageOptions options = imageOptions();
        options.crop = true;
        const ImageFrame frame = frameOf(m_edit, m_size, options);
        m_edit.centerX = int(std::lround(frame.center.x()));
        m_edit.centerY = int(std::lround(frame.center.y()));
        m_edit.width = std::max(int(std::lround(frame.size.width())), 1);
    } else {
        m_edit.centerX = 0;
        m_edit.centerY = 0;
    }
    showEdit(m_edit);
}

void ImageDialog::on_angleSlider_valueChanged(int value)
{
    if (!m_showing)
        m_ui->angleSpinBox->setValue(value);
}

void ImageDialog::on_saturationSlider_valueChanged(int value)
{
    if (!m_showing)
        m_ui->saturationSpinBox->setValue(value);
}

void ImageDialog::on_turnLeftPushButton_clicked()
{
    turn(-quarterTurn);
}

void ImageDialog::on_turnRightPushButton_clicked()
{
    turn(quarterTurn);
}

void ImageDialog::turn(double degrees)
{
    m_edit.angle += degrees;
    m_edit.angle = tidied(m_edit).angle;
    showEdit(m_edit);
}

void ImageDialog::on_resetPushButton_clicked()
{
    m_edit = {};
    m_ui->frameCheckBox->setChecked(false);
    showEdit(m_edit);
}

/// Shows what becomes of the picture; while one is being made, only the last state is made next.
void ImageDialog::preview()
{
    if (m_decoded.isNull())
        return;
    ImageOptions options = imageOptions();
    const ImageEdit edit = tidied(m_edit);
    m_ui->frameView->setFrame(frameOf(edit, m_size, options), edit.angle, edit.width > 0);
    if (m_previewing) {
        m_previewAgain = true;
        return;
    }
    m_previewing = true;
    options.width = std::min(options.width, previewRoom.width());
    runInBackground(
        this,
        [decoded = m_decoded, size = m_size, edit, options, logo = m_logo] {
            return processed(decoded, size, edit, options, logo);
        },
        [this](const QImage &image) {
            m_previewing = false;
            m_ui->resultPixmapWidget->setPixmap(QPixmap::fromImage(image));
            if (std::exchange(m_previewAgain, false))
                preview();
        });
}

void ImageDialog::on_logoPushButton_clicked()
{
    const QString path = QFileDialog::getOpenFileName(this, tr("Логотип магазина"), {},
                                                      tr("Файл изображения (*.png)"));
    if (path.isEmpty())
        return;
    setBusy(tr("Логотип записывается…"));
    struct Chosen
    {
        ImportedImage file;
        QImage logo;
    };
    runInBackground(
        this,
        [path] {
            const ImportedImage file = importImage(path, {}, {});
            return Chosen{file, decodeLogo(file.original)};
        },
        [this, path](const Chosen &chosen) {
            const bool isPng = chosen.file.kind == ImageKind::Png;
            if (chosen.file.fault == ImageFault::None && isPng) {
                storeLogo(chosen.file.original, chosen.logo);
                return;
            }
            setBusy({});
            showWarning(this, chosen.file.fault == ImageFault::None
                                  ? tr("Файл «%1» не в формате png.").arg(path)
                                  : importFaultText(chosen.file.fault, path));
        });
}

void ImageDialog::storeLogo(const QByteArray &bytes, const QImage &logo)
{
    const CommandScope command;
    if (!mayDo(this, Command::ChangeOptions)) {
        setBusy({});
        return;
    }
    putFiles(this, ImagesStore::instance(), {{logoFile, bytes}},
             [this, logo](const QString &reason) {
                 setBusy({});
                 m_logoChanged = m_logoChanged || reason.isEmpty();
                 if (reason.isEmpty())
                     useLogo(logo);
                 else
                     tell(tr("Логотип не записан: %1").arg(reason));
             });
}

void ImageDialog::on_nologoPushButton_clicked()
{
    if (askQuestion(this, tr("Убрать логотип магазина? Новые изображения будут без него."),
                    {tr("Убрать"), tr("Отмена")}, 1, 1) != 0)
        return;
    const CommandScope command;
    if (!mayDo(this, Command::ChangeOptions))
        return;
    setBusy(tr("Логотип удаляется…"));
    removeFile(this, ImagesStore::instance(), logoFile, [this](const QString &reason) {
        setBusy({});
        m_logoChanged = m_logoChanged || reason.isEmpty();
        if (reason.isEmpty())
            useLogo({});
        else
            tell(tr("Логотип не удалён: %1").arg(reason));
    });
}

void ImageDialog::on_okPushButton_clicked()
{
    accept();
}

void ImageDialog::on_cancelPushButton_clicked()
{
    reject();
}

bool ImageDialog::check()
{
    const auto refuse = [this](NumberSpinBox *box, const QString &text) {
        showInformation(this, text);
        box->setFocus();
        box->selectAll();
        return false;
    };
    for (const Field &field : std::as_const(m_fields)) {
        if (!field.box->hasAcceptableInput())
            return refuse(field.box, field.box->fault());
    }
    if (m_ui->frameCheckBox->isChecked() && m_edit.width <= 0)
        return refuse(m_ui->widthSpinBox, tr("Пожалуйста, введите ширину рамки."));
    if (!m_ui->angleSpinBox->hasAcceptableInput())
        return refuse(m_ui->angleSpinBox, m_ui->angleSpinBox->fault());
    const QPair<NumberSpinBox *, ImageChannel> tops[] = {{m_ui->rtopSpinBox, m_edit.red},
                                                         {m_ui->gtopSpinBox, m_edit.green},
                                                         {m_ui->btopSpinBox, m_edit.blue}};
    for (const auto &[box, channel] : tops) {
        if (channel.top <= channel.bottom)
            return refuse(box, tr("Пожалуйста, введите светлое больше тёмного."));
    }
    return true;
}

WareImage ImageDialog::wanted() const
{
    WareImage image = m_seen;
    image.edit = m_edit;
    image.title = m_ui->titleLineEdit->text();
    if (image.title.simplified() != m_seen.title.simplified())
        image.title = image.title.simplified();
    else
        image.title = m_seen.title;
    return image;
}

bool ImageDialog::isEdited() const
{
    return m_edit != m_seen.edit || wanted().title != m_seen.title;
}

void ImageDialog::accept()
{
    if (m_busy || !check())
        return;
    const CommandScope command;
    const bool isMadeAnew = m_edit != m_seen.edit || m_logoChanged;
    if (!isEdited() && !isMadeAnew)
        QDialog::accept();
    else if (mayReplace())
        isMadeAnew && !m_original.isEmpty() ? render(m_edit, &ImageDialog::write) : write();
}

/// Looks before the files are replaced what has become of the picture meanwhile.
bool ImageDialog::mayReplace()
{
    WareImage now;
    const LoadState state = loadWareImage(this, m_seen.id, now);
    if (state == LoadState::NotFound) {
        if (std::exchange(m_filesAhead, false))
            removeStoredFiles({m_seen.fileName});
        showWarning(this, tr("Изображение тем временем удалили на другом рабочем месте."));
    }
    if (state != LoadState::Loaded)
        return false;
    if (now.edit == m_seen.edit && now.title == m_seen.title)
        return true;
    const bool isTitle = now.title != m_seen.title;
    if (askQuestion(
            this,
            {.text = tr("Изображение тем временем изменили на другом рабочем месте."),
             .note = isTitle ? tr("Название теперь: «%1».").arg(now.title.simplified()) : QString(),
             .buttons = {tr("Записать моё"), tr("Отмена")},
             .defaultButton = 1,
             .escapeButton = 1}) != 0)
        return false;
    m_seen.edit = now.edit;
    m_seen.title = now.title;
    return true;
}

/// Makes the files by some settings, and goes on when they are in the store.
void ImageDialog::render(const ImageEdit &edit, void (ImageDialog::*then)())
{
    if (!m_hasLogo) {
        tell(tr("Логотип магазина ещё не загружен, без него изображение не записать."));
        return;
    }
    setBusy(tr("Изображение записывается…"));
    runInBackground(
        this,
        [original = m_original, edit, options = imageOptions(), logo = m_logo] {
            return renderImage(original, edit, options, logo);
        },
        [this, then](const ImportedImage &image) {
            if (image.fault == ImageFault::None) {
                store(image, then);
                return;
            }
            setBusy({});
            tell(importFaultText(image.fault, m_seen.title));
        });
}

void ImageDialog::store(const ImportedImage &image, void (ImageDialog::*then)())
{
    putFiles(this, ImagesStore::instance(),
             {{processedFolder + u'/' + m_seen.fileName, image.processed},
              {thumbsFolder + u'/' + m_seen.fileName, image.thumb}},
             [this, then](const QString &reason) {
                 setBusy({});
                 m_filesAhead = then == &ImageDialog::write;
                 if (reason.isEmpty())
                     (this->*then)();
                 else
                     tell(tr("Изображение не записано: %1").arg(reason));
             });
}

void ImageDialog::write()
{
    const CommandScope command;
    WareImage now;
    switch (writeWareImage(this, m_seen, wanted(), now)) {
    case WriteState::Written:
        QDialog::accept();
        break;
    case WriteState::NotFound:
        if (mayReplace())
            write();
        break;
    case WriteState::Failed:
        break;
    }
}

void ImageDialog::reject()
{
    if (m_busy || (isEdited() && !mayLoseInput(this)))
        return;
    // The row has not followed the files.
    if (std::exchange(m_filesAhead, false))
        render(m_seen.edit, &ImageDialog::leave);
    else
        leave();
}

void ImageDialog::leave()
{
    QDialog::reject();
}

/// An empty text: nothing is under way any more.
void ImageDialog::setBusy(const QString &text)
{
    m_busy = !text.isEmpty();
    tell(text);
    fitControls();
}

void ImageDialog::tell(const QString &text)
{
    m_ui->statusLabel->setText(text);
}
