// Files of pictures: which come in, how they are turned, and what is made of them.

#include "images/imagefile.h"

#include "tests/support/datatable.h"

#include <QBuffer>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>

namespace {

/// Its four quarters are red, green, blue and grey, beginning at the left above.
QImage quarters(const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    const QSize quarter = size / 2;
    painter.fillRect(QRect({0, 0}, quarter), QColor(220, 0, 0));
    painter.fillRect(QRect({quarter.width(), 0}, quarter), QColor(0, 220, 0));
    painter.fillRect(QRect({0, quarter.height()}, quarter), QColor(0, 0, 220));
    painter.fillRect(QRect({quarter.width(), quarter.height()}, quarter), QColor(128, 128, 128));
    return image;
}

/// The colours of the quarters as letters, row by row.
QString seen(const QImage &image)
{
    QString letters;
    for (const QPoint place : {QPoint(1, 1), QPoint(3, 1), QPoint(1, 3), QPoint(3, 3)}) {
        const QColor colour =
            image.pixelColor(image.width() * place.x() / 4, image.height() * place.y() / 4);
        const int most = std::max({colour.red(), colour.green(), colour.blue()});
        const int least = std::min({colour.red(), colour.green(), colour.blue()});
        letters += least > 230              ? 'w'
                   : most - least < 40      ? '.'
                   : most == colour.red()   ? 'r'
                   : most == colour.green() ? 'g'
                                            : 'b';
    }
    return letters;
}

QByteArray encoded(const QImage &image, const char *format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    image.save(&buffer, format, 95);
    return bytes;
}

/// A JPEG file whose camera was held otherwise: an Exif block with the orientation alone.
QByteArray withOrientation(const QByteArray &jpeg, char orientation)
{
    QByteArray exif("\xff\xe1\x00\x22"
                    "Exif\0\0"
                    "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0"
                    "\0\0\0\0\0\0\0",
                    36);
    exif[29] = orientation;
    return QByteArray(jpeg).insert(2, exif);
}

/// A PNG file of which only the size matters, or that breaks off behind it.
QByteArray pngHead(quint32 width, quint32 height)
{
    QByteArray head = encoded(QImage(1, 1, QImage::Format_Grayscale8), "png").left(33);
    qToBigEndian(width, head.data() + 16);
    qToBigEndian(height, head.data() + 20);
    quint32 sum = 0xffffffffU;
    for (const char byte : head.mid(12, 17)) {
        sum ^= uchar(byte);
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum >> 1U) ^ ((sum & 1U) != 0 ? 0xedb88320U : 0U);
    }
    qToBigEndian(sum ^ 0xffffffffU, head.data() + 29);
    return head;
}

QImage readBack(const QByteArray &jpeg)
{
    return QImage::fromData(jpeg, "jpeg");
}

} // namespace

class TestImageFile : public QObject
{
    Q_OBJECT

private slots:
    void fault_isFoundBeforeDecoding_data()
    {
        addColumns<QByteArray, ImageFault>("bytes", "fault");
        const QByteArray jpeg = encoded(quarters({400, 300}), "jpeg");
        addRow("nothing", QByteArray(), ImageFault::Empty);
        addRow("text", QByteArray("hello"), ImageFault::NoImage);
        addRow("another kind", encoded(quarters({4, 4}), "bmp"), ImageFault::NoImage);
        addRow("a head alone", QByteArray("\xff\xd8\xff\xe0"), ImageFault::Broken);
        addRow("broken off", jpeg.left(jpeg.size() / 2), ImageFault::Broken);
        addRow("no contents", pngHead(40, 40), ImageFault::Broken);
        addRow("64 megapixels", pngHead(8000, 8001), ImageFault::TooManyPixels);
        addRow("a bomb", pngHead(2'000'000'000, 2'000'000'000), ImageFault::TooManyPixels);
        addRow("20 MB", jpeg + QByteArray(mostImageBytes - jpeg.size(), 'x'), ImageFault::None);
        addRow("more", jpeg + QByteArray(mostImageBytes - jpeg.size() + 1, 'x'),
               ImageFault::TooLarge);
    }
    void fault_isFoundBeforeDecoding()
    {
        const auto [bytes, fault] = rowValues<QByteArray, ImageFault>();
        QTemporaryDir folder;
        QFile file(folder.filePath("Картинка.jpg"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();
        const ImportedImage image = importImage(file.fileName(), {}, {});
        QCOMPARE(image.fault, fault);
        QVERIFY(fault != ImageFault::None || image.original == bytes);
        QCOMPARE(importImage(folder.path(), {}, {}).fault, ImageFault::Unreadable);
    }

    void picture_isUpright_data()
    {
        addColumns<QByteArray, QString>("bytes", "ending");
        const QByteArray lying =
            encoded(quarters({400, 300}).transformed(QTransform().rotate(-90)), "jpeg");
        addRow("as it is", encoded(quarters({400, 300}), "jpeg"), QString("jpg"));
        addRow("camera held upright", withOrientation(lying, 6), QString("jpg"));
        addRow("png", encoded(quarters({400, 300}), "png"), QString("png"));
        addRow("webp", encoded(quarters({400, 300}), "webp"), QString("webp"));
        QTemporaryDir folder;
        quarters({400, 300}).save(folder.filePath("a.png"));
        QProcess::execute("heif-enc",
                          {"-q", "90", "-o", folder.filePath("a.heic"), folder.filePath("a.png")});
        QFile heic(folder.filePath("a.heic"));
        QVERIFY(heic.open(QIODevice::ReadOnly));
        addRow("heic", heic.readAll(), QString("heic"));
    }
    void picture_isUpright()
    {
        const auto [bytes, ending] = rowValues<QByteArray, QString>();
        QCOMPARE(readImageHeader(bytes).size, QSize(400, 300));
        QCOMPARE(imageExtension(readImageHeader(bytes).kind), ending);
        for (const QSize &atLeast : {QSize(), QSize(40, 30)}) {
            const QImage image = decodeImage(bytes, atLeast);
            QCOMPARE(seen(image), "rgb.");
            QVERIFY(image.width() >= 80 && image.width() * 3 == image.height() * 4);
        }
        const ImportedImage made = renderImage(bytes, {}, {.width = 100}, {});
        QCOMPARE(made.original, bytes);
        QCOMPARE(readBack(made.processed).size(), QSize(100, 75));
        QCOMPARE(seen(readBack(made.thumb)), "rgb.");
    }

    void rendering_followsRowAndOptions_data()
    {
        addColumns<ImageEdit, ImageOptions, QSize, QString>("edit", "options", "size", "seen");
        const ImageOptions usual = {.thumb = {60, 40}, .width = 200};
        addRow("narrower", ImageEdit(), usual, QSize(200, 150), QString("rgb."));
        addRow("never larger", ImageEdit(), ImageOptions(), QSize(400, 300), QString("rgb."));
        addRow("cut by the option", ImageEdit(),
               ImageOptions{.thumb = {60, 40}, .width = 300, .crop = true}, QSize(300, 200),
               QString("rgb."));
        addRow("frame", ImageEdit{.centerX = 300, .centerY = 75, .width = 150}, usual,
               QSize(150, 100), QString("gggg"));
        addRow("frame over the edge", ImageEdit{.centerX = 0, .centerY = 75, .width = 150}, usual,
               QSize(150, 100), QString("wrwr"));
        addRow("turned", ImageEdit{.angle = 90}, usual, QSize(200, 267), QString("br.g"));
        addRow("turned about the frame",
               ImageEdit{.centerX = 200, .centerY = 150, .width = 150, .angle = 180}, usual,
               QSize(150, 100), QString(".bgr"));
        addRow("grey", ImageEdit{.saturation = -100}, usual, QSize(200, 150), QString("...."));
        addRow("levels", ImageEdit{.red = {.bottom = 230}, .blue = {.top = 100}}, usual,
               QSize(200, 150), QString(".gbb"));
        addRow("of other programs",
               ImageEdit{.angle = qQNaN(),
                         .red = {0, 0, 0},
                         .green = {9, 3, -1},
                         .blue = {0, 0, 0},
                         .saturation = 999},
               usual, QSize(200, 150), QString("rgb."));
    }
    void rendering_followsRowAndOptions()
    {
        const auto [edit, options, size, letters] =
            rowValues<ImageEdit, ImageOptions, QSize, QString>();
        const ImportedImage made =
            renderImage(encoded(quarters({400, 300}), "png"), edit, options, {});
        const QImage image = readBack(made.processed);
        QCOMPARE(image.size(), size);
        QCOMPARE(seen(image), letters);
        const QSize thumb = readBack(made.thumb).size();
        QVERIFY(thumb.width() <= options.thumb.width() && thumb.height() <= options.thumb.height());
    }

    void coloursAndLogo_areThoseAskedFor()
    {
        QImage image(200, 100, QImage::Format_RGB32);
        image.fill(QColor(64, 64, 64));
        applyColours(image, {.red = {.gamma = 200}, .green = {.bottom = 32, .top = 96}});
        QCOMPARE(image.pixelColor(9, 9), QColor(128, 128, 64));
        QImage logo(80, 40, QImage::Format_ARGB32);
        logo.fill(Qt::transparent);
        logo.setPixelColor(79, 39, Qt::white);
        logo = logo.scaled(400, 200); // transparent but for its corner
        putLogo(image, logo);
        QCOMPARE(image.pixelColor(159, 79), QColor(128, 128, 64));
        QVERIFY(image.pixelColor(195, 95).red() > 128);

        QImage clear(10, 10, QImage::Format_ARGB32);
        clear.fill(Qt::transparent);
        clear.setText("Comment", "where it was taken");
        const QByteArray jpeg = toJpeg(clear, 90);
        QCOMPARE(readBack(jpeg).pixelColor(5, 5), QColor(Qt::white));
        QVERIFY(!jpeg.contains("taken"));
    }
};

QTEST_GUILESS_MAIN(TestImageFile)
#include "tst_imagefile.moc"
