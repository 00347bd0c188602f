#include "administration/optiondescription.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace {

struct OptionText
{
    Q_DECLARE_TR_FUNCTIONS(OptionText)
};

/// An option that this program knows; what the row itself tells is not repeated here.
struct KnownOption
{
    QString name;
    OptionKind kind = OptionKind::Text;
    int least = 0;
    int most = 0;
    QString suffix = {};
    QString form = {};  ///< a regular expression for the whole value
    QString fault = {}; ///< what to tell about a value of another form
};

struct KnownGroup
{
    QString title;
    QList<KnownOption> options;
};

constexpr int smallestImage = 16; ///< pixels
constexpr int largestImage = 10000;

KnownGroup companyOptions()
{
    return {OptionText::tr("Организация"),
            {{.name = "ORGNAME"},
             {.name = "INN",
              .form = "[0-9]{10}|[0-9]{12}",
              .fault = OptionText::tr("Пожалуйста, введите ИНН из 10 или 12 цифр.")},
             {.name = "OGRN",
              .form = "[0-9]{13}|[0-9]{15}",
              .fault = OptionText::tr("Пожалуйста, введите ОГРН из 13 цифр или ОГРНИП из 15.")},
             {.name = "ADDRESS"},
             {.name = "PHONE"},
             {.name = "TAXATION_SYSTEM", .kind = OptionKind::Choice}}};
}

KnownGroup bankOptions()
{
    const QString account = "[0-9]{20}";
    const QString fault = OptionText::tr("Пожалуйста, введите номер счёта из 20 цифр.");
    return {OptionText::tr("Реквизиты"),
            {{.name = "KPP",
              .form = "[0-9]{4}[0-9A-Z]{2}[0-9]{3}",
              .fault = OptionText::tr("Пожалуйста, введите КПП из 9 знаков.")},
             {.name = "BANK"},
             {.name = "BIK",
              .form = "[0-9]{9}",
              .fault = OptionText::tr("Пожалуйста, введите БИК из 9 цифр.")},
             {.name = "KSCHET", .form = account, .fault = fault},
             {.name = "RSCHET", .form = account, .fault = fault}}};
}

KnownGroup imageOptions()
{
    const auto pixels = [](const QString &name) {
        return KnownOption{.name = name,
                           .kind = OptionKind::Whole,
                           .least = smallestImage,
                           .most = largestImage,
                           .suffix = OptionText::tr("точек")};
    };
    return {OptionText::tr("Изображения"),
            {pixels("THUMB_WIDTH"),
             pixels("THUMB_HEIGHT"),
             pixels("IMAGE_WIDTH"),
             {.name = "CROP_IMAGE", .kind = OptionKind::Flag},
             {.name = "JPEG_QUALITY", .kind = OptionKind::Whole, .most = 100}}};
}

KnownGroup messageOptions()
{
    return {OptionText::tr("SMS и почта"),
            {{.name = "SMS_GATE_SENDER"},
             {.name = "SMS_GATE_LOGIN"},
             {.name = "SMS_GATE_PASSWORD", .kind = OptionKind::Secret},
             {.name = "SMS_ONSALE_TEXT", .kind = OptionKind::Memo},
             {.name = "SMTP_HOST",
              .form = "[^\\s/]+",
              .fault = OptionText::tr("Пожалуйста, введите адрес SMTP-сервера без пробелов, "
                                      "например mail.example.ru:465.")},
             {.name = "SMTP_LOGIN"},
             {.name = "SMTP_PASSWORD", .kind = OptionKind::Secret}}};
}

KnownGroup salesOptions()
{
    const auto flag = [](const QString &name) {
        return KnownOption{.name = name, .kind = OptionKind::Flag};
    };
    const auto percent = [](const QString &name) {
        return KnownOption{.name = name, .kind = OptionKind::Whole, .most = 100, .suffix = "%"};
    };
    return {OptionText::tr("Продажи и заказы"),
            {percent("DISCOUNT_MARGIN_PERCENT"), flag("ALLOW_OVERSALE"), flag("ALLOW_PAY_BANK"),
             flag("ALLOW_READY_ORDER_EDIT"), flag("ALLOW_GIVEOUT_UNPAID"),
             percent("OTCOME_REPORT_PERCENT"), flag("ALLOW_EDIT_CLIENTS")}};
}

KnownGroup siteOptions()
{
    return {OptionText::tr("Сайт и время"),
            {{.name = "PAYMENT_URL",
              .form = "https?://[^\\s/]+\\S*",
              .fault = OptionText::tr("Пожалуйста, введите адрес без пробелов, который начинается "
                                      "с http:// или https://.")},
             {.name = "SITE_URL",
              .form = "\\S+",
              .fault = OptionText::tr("Пожалуйста, введите адрес сайта без пробелов.")},
             {.name = "TIMEZONE", .kind = OptionKind::Choice}}};
}

const QList<KnownGroup> &knownGroups()
{
    static const QList<KnownGroup> groups = {companyOptions(), bankOptions(),  imageOptions(),
                                             messageOptions(), salesOptions(), siteOptions()};
    return groups;
}

QString otherOptions()
{
    return OptionText::tr("Прочие");
}

/// The option of that name, with its group; nullptr when it is one of another program.
const KnownOption *findKnown(const QString &name, QString *group = nullptr)
{
    for (const KnownGroup &known : knownGroups()) {
        for (const KnownOption &option : known.options) {
            if (option.name != name)
                continue;
            if (group)
                *group = known.title;
            return &option;
        }
    }
    return nullptr;
}

QList<QPair<QString, QString>> taxationSystems()
{
    return {{"1", OptionText::tr("ОСН")},
            {"2", OptionText::tr("УСН доход")},
            {"4", OptionText::tr("УСН доход минус расход")},
            {"16", OptionText::tr("ЕСХН")},
            {"32", OptionText::tr("Патент")}};
}

/// A place for each offset from UTC in which goods are received; others stand by their number.
QString placeOf(int hours)
{
    switch (hours) {
    case 2:
        return OptionText::tr("Калининград");
    case 3:
        return OptionText::tr("Москва, Санкт-Петербург");
    case 4:
        return OptionText::tr("Самара, Саратов");
    case 5:
        return OptionText::tr("Екатеринбург, Челябинск");
    case 6:
        return OptionText::tr("Омск");
    case 7:
        return OptionText::tr("Новосибирск, Красноярск");
    case 8:
        return OptionText::tr("Иркутск");
    case 9:
        return OptionText::tr("Якутск, Чита");
    case 10:
        return OptionText::tr("Владивосток, Хабаровск");
    case 11:
        return OptionText::tr("Магадан, Южно-Сахалинск");
    case 12:
        return OptionText::tr("Петропавловск-Камчатский");
    default:
        return {};
    }
}

QList<QPair<QString, QString>> timeZones()
{
    constexpr int west = -11;
    constexpr int east = 14;
    QList<QPair<QString, QString>> zones;
    for (int hours = west; hours <= east; ++hours) {
        const QString value =
            (hours > 0 ? QStringLiteral("+") : QString()) + QString::number(hours);
        const QString place = placeOf(hours);
        zones += {value, "UTC" + (hours == 0 ? QString() : value) +
                             (place.isEmpty() ? QString() : QStringLiteral(" — ") + place)};
    }
    return zones;
}

bool soundsSecret(const QString &name)
{
    static const QRegularExpression secret(
        QStringLiteral("PASSWORD|PASSWD|PASSPHRASE|PWD|SECRET|TOKEN|PRIVATE|API_?KEY|_KEY$|_PASS$|"
                       "пароль|секрет|токен"),
        QRegularExpression::CaseInsensitiveOption);
    return secret.match(name).hasMatch();
}

/// The help of the row in the words of its editor: a flag is ticked, not 1.
QString helpOf(const OptionRow &row, OptionKind kind)
{
    QString help = row.description.trimmed();
    if (kind != OptionKind::Flag)
        return help;
    static const QRegularExpression digits(QStringLiteral("^0 или 1\\.\\s*"));
    help.remove(digits);
    return help.replace(QStringLiteral("Если 1,"), OptionText::tr("Если отмечено,"));
}

QString wholeFault(const KnownOption &known, const QString &value)
{
    bool ok = false;
    const int number = value.toInt(&ok);
    return ok && number >= known.least && number <= known.most
               ? QString()
               : OptionText::tr("Пожалуйста, введите целое число от %1 до %2.")
                     .arg(QString::number(known.least), QString::number(known.most));
}

} // namespace

QStringList optionGroups()
{
    QStringList titles;
    for (const KnownGroup &group : knownGroups())
        titles += group.title;
    titles += otherOptions();
    return titles;
}

OptionDescription describeOption(const OptionRow &row)
{
    OptionDescription description;
    description.group = otherOptions();
    if (const KnownOption *known = findKnown(row.name, &description.group)) {
        description.kind = known->kind;
        description.least = known->least;
        description.most = known->most;
        description.suffix = known->suffix;
    } else if (soundsSecret(row.name) || soundsSecret(row.localname)) {
        description.kind = OptionKind::Secret;
    }
    if (description.kind == OptionKind::Text && row.value.contains(u'\n'))
        description.kind = OptionKind::Memo;
    if (row.name == QLatin1String("TAXATION_SYSTEM"))
        description.choices = taxationSystems();
    else if (row.name == QLatin1String("TIMEZONE"))
        description.choices = timeZones();
    const QString title = row.localname.simplified();
    description.title = title.isEmpty() ? row.name : title;
    description.help = helpOf(row, description.kind);
    return description;
}

QString optionFault(const OptionRow &row, const QString &value)
{
    const KnownOption *known = findKnown(row.name);
    if (!known)
        return {};
    switch (known->kind) {
    case OptionKind::Whole:
        return wholeFault(*known, value);
    case OptionKind::Flag:
        return value == QLatin1String("0") || value == QLatin1String("1")
                   ? QString()
                   : OptionText::tr("Пожалуйста, введите 0 или 1.");
    case OptionKind::Choice: {
        const auto choices = describeOption(row).choices;
        return std::any_of(choices.begin(), choices.end(),
                           [&value](const auto &choice) { return choice.first == value; })
                   ? QString()
                   : OptionText::tr("Пожалуйста, выберите значение из списка.");
    }
    case OptionKind::Text:
    case OptionKind::Memo:
    case OptionKind::Secret:
        break;
    }
    if (value.isEmpty() || known->form.isEmpty())
        return {};
    const QRegularExpression form(QRegularExpression::anchoredPattern(known->form));
    return form.match(value).hasMatch() ? QString() : known->fault;
}

QString sameChoice(const OptionDescription &description, const QString &value)
{
    bool isNumber = false;
    const int number = value.trimmed().toInt(&isNumber);
    for (const auto &[choice, text] : description.choices) {
        if (choice == value || (isNumber && choice.toInt() == number))
            return choice;
    }
    return value;
}

QString shownOption(const OptionDescription &description, const QString &value)
{
    switch (description.kind) {
    case OptionKind::Secret:
        return value.isEmpty() ? OptionText::tr("не задан") : OptionText::tr("задан");
    case OptionKind::Flag:
        return value == QLatin1String("1")   ? OptionText::tr("да")
               : value == QLatin1String("0") ? OptionText::tr("нет")
                                             : value;
    case OptionKind::Choice:
        for (const auto &[choice, text] : description.choices) {
            if (choice == sameChoice(description, value))
                return text;
        }
        break;
    case OptionKind::Text:
    case OptionKind::Memo:
    case OptionKind::Whole:
        break;
    }
    return value;
}
