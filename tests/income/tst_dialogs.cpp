// All dialogs of the program, looked at as somebody does who has nothing but them: what the tools
// for the blind read, what fits a small screen, what the keyboard reaches.
#include "administration/optionsdialog.h"
#include "administration/ownpassworddialog.h"
#include "administration/settingsdialog.h"
#include "administration/userdialog.h"
#include "administration/usersdialog.h"
#include "app/settings.h"
#include "catalogue/articledialog.h"
#include "catalogue/codedialog.h"
#include "catalogue/codesdialog.h"
#include "catalogue/costdialog.h"
#include "catalogue/currenciesdialog.h"
#include "catalogue/currencydialog.h"
#include "catalogue/dictionaries.h"
#include "catalogue/groupdialog.h"
#include "catalogue/groupsdialog.h"
#include "catalogue/imagedialog.h"
#include "catalogue/pricehistorydialog.h"
#include "catalogue/propertiesdialog.h"
#include "catalogue/quantitydialog.h"
#include "catalogue/referencedialog.h"
#include "catalogue/simpledictionaries.h"
#include "catalogue/stockdialog.h"
#include "catalogue/textdialog.h"
#include "catalogue/translationdialog.h"
#include "catalogue/waredialog.h"
#include "catalogue/warehousedialog.h"
#include "catalogue/warepropertydialog.h"
#include "income/incomereportdialog.h"
#include "income/missedcodes.h"
#include "income/missedcodesdialog.h"
#include "income/quantityrestdialog.h"
#include "income/setupcommands.h"
#include "labels/labelsdialog.h"
#include "login/connectiondialog.h"
#include "login/euladialog.h"
#include "login/passworddialog.h"
#include "login/selectconnectiondialog.h"
#include "login/userpasswordsdialog.h"
#include "sms/sendsmsdialog.h"

#include "tests/support/databasetest.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QMetaMethod>
#include <QScreen>
#include <QTableView>
#include <QTemporaryDir>

#include <functional>

namespace {

const QSize smallScreen(1366, 768);
const QSize frame(12, 44); ///< of a window, and what a panel takes
const QString longName = QStringLiteral("Клавиатура беспроводная компактная с подсветкой, тёмная");

MissedCodes missed; // shown by one of the dialogs

using Maker = std::function<QDialog *()>;

template<typename Dialog, typename... Arguments>
Maker maker(Arguments... arguments)
{
    return [arguments...] {
        return new Dialog(arguments...);
    };
}

QWidget *const none = nullptr;

QList<Maker> makers()
{
    SettingsParts setup = SetupCommands::parts();
    setup.hasReference = true;
    QList<Maker> all = {
        maker<CodeDialog>(0, 1, none),
        maker<CodesDialog>(none),
        maker<ArticleDialog>(0, 1, none),
        maker<CollectionDialog>(0, none),
        maker<CostDialog>(QList<qulonglong>{1, 2}),
        maker<CurrenciesDialog>(none),
        maker<CurrencyDialog>(1, none),
        maker<GroupDialog>(QList<qulonglong>{1}),
        maker<GroupEditDialog>(0, none),
        maker<LabelsDialog>(none),
        maker<PriceHistoryDialog>(1, none),
        maker<PropertyDialog>(0, none),
        maker<PropertyItemsDialog>(1, none),
        maker<OptionsDialog>(none),
        maker<SettingsDialog>(setup, none),
        maker<QuantityDialog>("Количество", 1.5, 3, none),
        maker<ReferenceDialog>(none, 1),
        maker<StockDialog>(none),
        maker<SupplierDialog>(0, none),
        maker<TextDialog>("Описание", "Текст", none),
        maker<TranslationDialog>(0, 1, none, longName),
        maker<WareDialog>(1, none),
        maker<WareDialog>(0, none),
        maker<WarehouseDialog>(none),
        maker<WarePropertyDialog>(0, 1, none),
        maker<DictionaryDialog>(BrandsDialog::dictionary(), 0, none),
        maker<DictionaryDialog>(UnitsDialog::dictionary(), 0, none),
        maker<DictionaryDialog>(LocalesDialog::dictionary(), 0, none),
        maker<ImageDialog>(WareImage{.fileName = "a.jpg", .title = longName}, none),
        maker<IncomeReportDialog>(none),
        maker<MissedCodesDialog>(&missed, QString()),
        maker<QuantityRestDialog>(ReceiptRequest{.wareid = 1}),
        maker<ConnectionDialog>(ConnectionEntry(), QStringList()),
        maker<EulaDialog>(),
        maker<PasswordDialog>("admin"),
        maker<SelectConnectionDialog>(),
        maker<UserDialog>(1),
        maker<UsersDialog>(),
        maker<OwnPasswordDialog>(),
        maker<UserPasswordsDialog>(NewPasswordQuestion()),
        maker<SendSmsDialog>(none, "79990000000", "Текст"),
    };
    for (int i = 0; i <= int(DictionaryName::Suppliers); ++i)
        all += [i] {
            return makeDictionary(DictionaryName(i), nullptr).release();
        };
    return all;
}

/// What is wrong with the words that a widget shows.
QString cutText(const QWidget *widget)
{
    const auto *label = qobject_cast<const QLabel *>(widget);
    const auto *button = qobject_cast<const QAbstractButton *>(widget);
    int needed = 0;
    if (label && !label->wordWrap() && !label->text().isEmpty())
        needed = label->minimumSizeHint().width();
    else if (button && !button->text().isEmpty())
        needed = button->fontMetrics()
                     .boundingRect(button->rect(), Qt::TextShowMnemonic, button->text())
                     .width() +
                 (button->icon().isNull() ? 0 : button->iconSize().width());
    else if (qobject_cast<const QGroupBox *>(widget))
        needed = widget->minimumSizeHint().width();
    return widget->width() >= needed
               ? QString()
               : QStringLiteral("is cut off: %1 of %2 px").arg(widget->width()).arg(needed);
}

QString nameless(QWidget *widget)
{
    // A text that can be marked is no control.
    if (widget->focusPolicy() == Qt::NoFocus || qobject_cast<QLabel *>(widget) ||
        !widget->isEnabled() || widget->objectName().startsWith("qt_"))
        return {};
    const QAccessibleInterface *seen = QAccessible::queryAccessibleInterface(widget);
    return seen && seen->text(QAccessible::Name).isEmpty() ? QStringLiteral("has no name")
                                                           : QString();
}

QString where(const QWidget *widget)
{
    return QString::fromLatin1(widget->metaObject()->className()) + u' ' + widget->objectName();
}

/// The slots that a form was to connect, but could not.
QStringList looseSlots(const QDialog &dialog)
{
    QStringList loose;
    const QMetaObject *meta = dialog.metaObject();
    for (int i = QDialog::staticMetaObject.methodCount(); i < meta->methodCount(); ++i) {
        const QString name = QString::fromLatin1(meta->method(i).name());
        const QString object = name.mid(3).section(u'_', 0, -2);
        if (name.startsWith("on_") && !dialog.findChild<QObject *>(object))
            loose += name;
    }
    return loose;
}

} // namespace

class TestDialogs : public DialogTest
{
    Q_OBJECT

private slots:
    void everyDialog_data()
    {
        addColumns<int>("points");
        addRow("10 pt", 10);
        addRow("14 pt", 14);
    }

    void everyDialog()
    {
        const auto [points] = rowValues<int>();
        const QFont before = QApplication::font();
        QFont font = before;
        font.setPointSize(points);
        QApplication::setFont(font);
        QStringList faults;
        for (const Maker &make : makers()) {
            const std::unique_ptr<QDialog> dialog(make());
            dialog->show();
            QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
            for (const QString &fault : faultsOf(*dialog))
                faults += dialog->windowTitle() + ", " + where(dialog.get()) + ": " + fault;
        }
        QApplication::setFont(before);
        for (const QString &fault : std::as_const(faults))
            qWarning().noquote() << fault;
        QCOMPARE(faults.size(), 0);
    }

private:
    static QStringList faultsOf(QDialog &dialog)
    {
        QStringList faults = looseSlots(dialog);
        const QSize size = dialog.size().expandedTo(dialog.minimumSizeHint());
        const QSize room = smallScreen - frame;
        if (size.width() > room.width() || size.height() > room.height())
            faults += QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
        if (dialog.objectName().isEmpty() || dialog.windowTitle().isEmpty())
            faults += "no object name or title";
        const auto widgets = dialog.findChildren<QWidget *>();
        for (QWidget *widget : widgets) {
            if (!widget->isVisible())
                continue;
            for (const QString &fault : {cutText(widget), nameless(widget)}) {
                if (!fault.isEmpty())
                    faults += where(widget) + u' ' + fault;
            }
        }
        return faults;
    }

    void prepare() override
    {
        Settings::instance().load(m_home->path() + "/none"); // one connection is ready then
        openShop(-1);
        openReference();
        shop::addProduct({.id = 1, .name = longName, .stock = 1234.567, .outcost = 1234567.89});
        shop::addProduct({.id = 2, .name = shop::nastyName});
        shop::addCode(1, "4607004652387");
        // Weighed goods, so that the button for it is there.
        Settings::instance().setValue(SettingsKey::ScalesType, "1");
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET unitid='2' WHERE id='1'"));
        missed.add("4607004652394", "не найден");
    }
};

int main(int argc, char **argv)
{
    const QTemporaryDir directory;
    QFile screens(directory.filePath("screens.json"));
    if (!screens.open(QIODevice::WriteOnly))
        return 1;
    screens.write(R"({"screens":[{"name":"small","x":0,"y":0,"width":1366,"height":768,)"
                  R"("logicalDpi":96,"logicalBaseDpi":96,"dpr":1}]})");
    screens.close();
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + screens.fileName().toLocal8Bit());
    QApplication application(argc, argv);
    TestDialogs test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_dialogs.moc"
