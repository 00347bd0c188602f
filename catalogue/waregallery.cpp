#include "catalogue/waregallery.h"

#include "app/messages.h"
#include "catalogue/imagedialog.h"
#include "catalogue/imageintake.h"
#include "db/sqltext.h"
#include "images/storename.h"
#include "images/thumbnailcache.h"
#include "widgets/colors.h"
#include "widgets/plaintext.h"

#include <QClipboard>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QSettings>
#include <QShortcut>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace {

constexpr int idRole = Qt::UserRole;
constexpr int fileRole = Qt::UserRole + 1;
constexpr int iconLines = 7;   ///< the height of a thumbnail, in lines of text
constexpr int titleLines = 2;  ///< below it
constexpr int blankMargin = 8; ///< around both, px

const QString folderKey = QStringLiteral("images_import_folder");

QString thumbOf(const QString &fileName)
{
    return thumbsFolder + u'/' + fileName;
}

} // namespace

WareGallery::WareGallery(qulonglong wareid, std::function<QString()> productName, QWidget *parent)
    : QWidget(parent),
      m_wareid(wareid),
      m_productName(std::move(productName)),
      m_intake(new ImageIntake(
          wareid, [this] { return tr("Новое изображение для \"%1\"").arg(m_productName()); }, this))
{
    setObjectName("imagesTab");
    connect(m_intake, &ImageIntake::progressed, this, &WareGallery::tellProgress);
    connect(m_intake, &ImageIntake::finished, this, &WareGallery::settle);
    connect(m_intake, &ImageIntake::added, this, [this](qulonglong id) {
        m_touched = true;
        if (m_wareid == 0)
            m_addedHere += id;
        refresh(id);
    });
}

WareGallery::~WareGallery()
{
    for (const QString &file : std::as_const(m_requested))
        ThumbnailCache::instance().cancel(file);
}

QString WareGallery::title() const
{
    return tr("Изображения");
}

QString WareGallery::countQuery() const
{
    return "SELECT COUNT(*) FROM images WHERE wareid=" + sql::quotedId(m_wareid);
}

void WareGallery::read()
{
    if (m_list)
        return;
    makeList();
    makeButtons();
    watchThumbnails();
    refresh();
}

void WareGallery::makeList()
{
    m_list = new QListWidget(this);
    m_list->setObjectName("imagesListWidget");
    m_list->setAccessibleName(title());
    m_list->setToolTip(tr("Двойной щелчок открывает изображение. Файлы можно перетащить сюда."));
    m_list->setViewMode(QListView::IconMode);
    m_list->setResizeMode(QListView::Adjust);
    m_list->setMovement(QListView::Static);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setUniformItemSizes(true);
    m_list->setWordWrap(true);
    m_list->setTextElideMode(Qt::ElideRight);
    const int line = m_list->fontMetrics().lineSpacing();
    m_iconSize = {line * iconLines * 3 / 2, line * iconLines};
    m_list->setIconSize(m_iconSize);
    m_list->setGridSize(m_iconSize + QSize(2 * blankMargin, line * titleLines + 2 * blankMargin));
    m_list->setAcceptDrops(true);
    m_list->viewport()->setAcceptDrops(true);
    m_list->viewport()->installEventFilter(this);
    connect(m_list, &QListWidget::itemActivated, this, &WareGallery::editCurrent);
    (new QVBoxLayout(this))->addWidget(m_list);
    setTabOrder(this, m_list);
    setFocusProxy(m_list);
}

void WareGallery::makeButtons()
{
    auto *row = new QHBoxLayout;
    QWidget *former = m_list;
    const auto add = [&](const QString &text, const char *name, const QKeySequence &key,
                         const QString &toolTip, void (WareGallery::*slot)()) {
        auto *button = new QPushButton(text, this);
        button->setObjectName(QLatin1String(name));
        button->setToolTip((toolTip + u' ' + key.toString(QKeySequence::NativeText)).trimmed());
        button->setAutoDefault(false);
        if (!key.isEmpty()) {
            auto *shortcut = new QShortcut(key, this);
            shortcut->setContext(Qt::WidgetWithChildrenShortcut);
            connect(shortcut, &QShortcut::activated, button, &QPushButton::click);
        }
        if (slot)
            connect(button, &QPushButton::clicked, this, slot);
        row->addWidget(button);
        setTabOrder(std::exchange(former, button), button);
        return button;
    };
    add(tr("Добавить"), "imagesAddPushButton", Qt::Key_Insert, {}, &WareGallery::chooseFiles);
    add(tr("Вставить"), "imagesPastePushButton", QKeySequence::Paste,
        tr("Добавить из буфера обмена"), &WareGallery::paste);
    add(tr("Изменить"), "imagesEditPushButton", {}, {}, &WareGallery::editCurrent);
    add(tr("Раньше"), "imagesForwardPushButton", Qt::CTRL | Qt::Key_Left, {},
        &WareGallery::moveForward);
    add(tr("Позже"), "imagesBackPushButton", Qt::CTRL | Qt::Key_Right, {}, &WareGallery::moveBack);
    add(tr("Удалить"), "imagesDeletePushButton", Qt::Key_Delete, {}, &WareGallery::deleteSelected);
    m_status = new QLabel(this);
    m_status->setObjectName("imagesStatusLabel");
    m_status->setTextFormat(Qt::PlainText);
    m_status->setWordWrap(true);
    row->addWidget(m_status, 1);
    m_stop = add(tr("Остановить"), "imagesStopPushButton", {}, {}, nullptr);
    connect(m_stop, &QPushButton::clicked, this, [this] {
        m_intake->abandon();
        settle({}, tr("Остановлено."));
    });
    m_stop->hide();
    static_cast<QVBoxLayout *>(layout())->addLayout(row);
}

void WareGallery::watchThumbnails()
{
    ThumbnailCache &cache = ThumbnailCache::instance();
    connect(&cache, &ThumbnailCache::ready, this, &WareGallery::showThumbnail);
    connect(&cache, &ThumbnailCache::failed, this,
            [this](const QString &fileName) { showThumbnail(fileName, {}); });
    connect(m_list->verticalScrollBar(), &QScrollBar::valueChanged, this,
            &WareGallery::requestVisible);
}

void WareGallery::refresh(qulonglong selectedId)
{
    QList<WareImage> images;
    if (!m_list) {
        emit counted(QueryValue(window(), countQuery() + u';').toInt());
        return;
    }
    const qulonglong kept = selectedId != 0 ? selectedId : currentId();
    if (!loadWareImages(window(), m_wareid, images))
        return;
    showImages(images);
    const auto place = std::find_if(m_images.cbegin(), m_images.cend(),
                                    [&](const WareImage &image) { return image.id == kept; });
    if (!m_images.isEmpty())
        m_list->setCurrentRow(place == m_images.cend() ? 0 : int(place - m_images.cbegin()),
                              QItemSelectionModel::ClearAndSelect);
    emit counted(int(m_images.size()));
}

/// Items stay what they are where they can, with the thumbnails that they have.
void WareGallery::showImages(const QList<WareImage> &images)
{
    const int place = m_list->verticalScrollBar()->value();
    m_images = images;
    m_rowsOf.clear();
    while (m_list->count() > images.size())
        delete m_list->takeItem(m_list->count() - 1);
    while (m_list->count() < images.size())
        m_list->addItem(new QListWidgetItem);
    QPixmap blank(m_iconSize);
    blank.fill(Qt::transparent);
    const QIcon none(blank);
    for (qsizetype i = 0; i < images.size(); ++i) {
        QListWidgetItem *item = m_list->item(int(i));
        const WareImage &image = images.at(i);
        m_rowsOf.insert(thumbOf(image.fileName), int(i));
        ThumbnailCache::instance().expect(thumbOf(image.fileName), image.version);
        item->setData(idRole, image.id);
        item->setText(image.title.simplified());
        item->setToolTip(plainToolTip(image.title));
        if (item->data(fileRole) != image.fileName || item->icon().isNull()) {
            item->setData(fileRole, image.fileName);
            item->setIcon(none);
        }
    }
    m_list->verticalScrollBar()->setValue(place);
    requestVisible();
}

/// Asks for the thumbnails that can be seen once the list stands still, and for no others.
void WareGallery::requestVisible()
{
    if (std::exchange(m_requestPending, true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_requestPending = false;
            ThumbnailCache &cache = ThumbnailCache::instance();
            const QRect seen = m_list->viewport()->rect();
            QSet<QString> wanted;
            for (int row = 0; row < m_list->count(); ++row) {
                const QListWidgetItem *item = m_list->item(row);
                if (m_list->visualItemRect(item).intersects(seen))
                    wanted += thumbOf(item->data(fileRole).toString());
            }
            // Another window may have asked for the same.
            for (const QString &file : std::exchange(m_requested, m_requested & wanted)) {
                if (!wanted.contains(file))
                    cache.cancel(file);
            }
            for (const QString &file : std::as_const(wanted)) {
                if (const QPixmap pixmap = cache.find(file); !pixmap.isNull()) {
                    showThumbnail(file, pixmap);
                } else if (!m_requested.contains(file)) {
                    m_requested += file;
                    cache.request(file);
                }
            }
        },
        Qt::QueuedConnection);
}

/// A null picture: there is none to show.
void WareGallery::showThumbnail(const QString &fileName, const QPixmap &pixmap)
{
    m_requested.remove(fileName);
    const QList<int> rows = m_rowsOf.values(fileName);
    for (const int row : rows)
        m_list->item(row)->setIcon(iconOf(pixmap));
}

/// Scaled once, since an icon would do it again and again.
QIcon WareGallery::iconOf(const QPixmap &pixmap) const
{
    const qreal ratio = devicePixelRatioF();
    const QSize room = (QSizeF(m_iconSize) * ratio).toSize();
    QPixmap icon = pixmap;
    if (pixmap.isNull()) {
        icon = QPixmap(room);
        icon.setDevicePixelRatio(ratio);
        icon.fill(palette().color(QPalette::AlternateBase));
        QPainter painter(&icon);
        painter.setPen(palette().color(QPalette::Disabled, QPalette::Text));
        painter.drawText(QRect({}, m_iconSize), int(Qt::AlignCenter) | int(Qt::TextWordWrap),
                         tr("нет файла"));
    } else if (icon.width() > room.width() || icon.height() > room.height()) {
        icon = icon.scaled(room, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        icon.setDevicePixelRatio(ratio);
    }
    QIcon shown(icon);
    shown.addPixmap(icon, QIcon::Selected); // not in the colour of the selection
    return shown;
}

bool WareGallery::isTouched() const
{
    return m_touched;
}

bool WareGallery::isBusy() const
{
    return m_intake->isBusy();
}

void WareGallery::abandon()
{
    m_intake->abandon();
    if (const QList<qulonglong> added = std::exchange(m_addedHere, {}); !added.isEmpty())
        removeWareImages(window(), added, 0);
}

void WareGallery::add(const QList<ImageSource> &sources)
{
    read();
    m_intake->add(sources);
}

QList<qulonglong> WareGallery::selectedIds() const
{
    QList<qulonglong> ids;
    const QModelIndexList rows = m_list->selectionModel()->selectedRows();
    for (const QModelIndex &index : rows)
        ids += index.data(idRole).toULongLong();
    return ids;
}

qulonglong WareGallery::currentId() const
{
    const QListWidgetItem *item = m_list->currentItem();
    return item ? item->data(idRole).toULongLong() : 0;
}

void WareGallery::chooseFiles()
{
    const CommandScope command;
    QSettings store;
    const QStringList paths = QFileDialog::getOpenFileNames(
        window(), tr("Импорт изображений"), store.value(folderKey).toString(),
        tr("Файл изображения (*.jpg *.jpeg *.heic)") + ";;" +
            tr("Файл изображения (*.png *.webp)"));
    QList<ImageSource> sources;
    for (const QString &path : paths)
        sources += {.path = path, .name = QFileInfo(path).fileName()};
    if (sources.isEmpty())
        return;
    store.setValue(folderKey, QFileInfo(paths.first()).absolutePath());
    add(sources);
    m_list->setFocus();
}

void WareGallery::paste()
{
    const CommandScope command;
    const QList<ImageSource> sources = imageSources(QGuiApplication::clipboard()->mimeData());
    if (sources.isEmpty())
        showInformation(window(), tr("В буфере обмена нет изображения."));
    else
        add(sources);
}

/// Files and pictures that are dropped on the list.
bool WareGallery::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Resize:
        requestVisible();
        break;
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto *drag = static_cast<QDragMoveEvent *>(event);
        drag->setAccepted(drag->mimeData()->hasImage() || drag->mimeData()->hasUrls());
        if (drag->isAccepted() && drag->possibleActions().testFlag(Qt::CopyAction))
            drag->setDropAction(Qt::CopyAction);
        return true;
    }
    case QEvent::Drop: {
        auto *drop = static_cast<QDropEvent *>(event);
        const QList<ImageSource> sources = imageSources(drop->mimeData());
        drop->setDropAction(Qt::CopyAction);
        drop->setAccepted(!sources.isEmpty());
        if (sources.isEmpty())
            m_status->setText(tr("В перетащенном нет ни файлов, ни изображения."));
        else
            add(sources);
        return true;
    }
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

void WareGallery::editCurrent()
{
    const CommandScope command;
    const qulonglong id = currentId();
    if (id == 0) {
        showInformation(window(), tr("Не выделено ни одного элемента."));
        return;
    }
    WareImage image;
    const LoadState state = loadWareImage(window(), id, image);
    if (state == LoadState::NotFound)
        showInformation(window(), tr("Изображение тем временем удалили на другом рабочем месте."));
    if (state == LoadState::Loaded) {
        ImageDialog dialog(image, window());
        if (dialog.exec() == QDialog::Accepted)
            m_touched = true;
    }
    refresh();
    m_list->setFocus();
}

void WareGallery::moveForward()
{
    move(true);
}

void WareGallery::moveBack()
{
    move(false);
}

void WareGallery::move(bool forward)
{
    const CommandScope command;
    if (const qulonglong id = currentId(); id != 0) {
        m_touched = moveWareImage(window(), id, forward) || m_touched;
        refresh(id);
    } else {
        showInformation(window(), tr("Не выделено ни одного элемента."));
    }
}

void WareGallery::deleteSelected()
{
    const CommandScope command;
    const QList<qulonglong> ids = selectedIds();
    if (ids.isEmpty()) {
        showInformation(window(), tr("Не выделено ни одного элемента."));
        return;
    }
    if (askQuestion(window(), tr("Вы действительно хотите удалить выделенные изображения?"),
                    {tr("Да"), tr("Нет")}, 1, 1) != 0)
        return;
    m_touched = removeWareImages(window(), ids) || m_touched;
    refresh();
}

void WareGallery::tellProgress(int number, int total)
{
    m_stop->show();
    tell(tr("Добавляется %1 из %2…").arg(number).arg(total), false);
}

void WareGallery::tell(const QString &text, bool warning)
{
    QPalette colours = palette();
    if (warning)
        colours.setColor(QPalette::WindowText, warningTextColor(colours));
    m_status->setPalette(colours);
    m_status->setText(text);
    m_status->setToolTip(plainToolTip(text));
}

void WareGallery::settle(const QStringList &refusals, const QString &fault)
{
    m_stop->hide();
    tell(fault, true);
    if (!refusals.isEmpty())
        showWarning(window(), shortened(refusals).join(u'\n'));
    emit settled(!refusals.isEmpty() || !fault.isEmpty());
}
