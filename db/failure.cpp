#include "db/failure.h"

#include <QCoreApplication>
#include <QSqlError>

#include <cstddef>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Failure", text);
}

struct NumberedCause
{
    int code;
    FailureCause cause;
};

struct StateCause
{
    const char *start; ///< of an SQLSTATE; the longer ones stand first
    FailureCause cause;
};

// clang-format off
/// Extended codes of SQLite come before the primary code in their lower byte.
constexpr NumberedCause sqliteCauses[] = {
    {4874, FailureCause::DiskFull}, // no room for the index of the write-ahead log
    {3, FailureCause::NoRight},    {5, FailureCause::Locked},     {6, FailureCause::Locked},
    {8, FailureCause::ReadOnly},   {10, FailureCause::DiskFault}, {11, FailureCause::Damaged},
    {13, FailureCause::DiskFull},  {14, FailureCause::CannotOpen}, {23, FailureCause::NoRight},
    {26, FailureCause::Damaged},
};

constexpr NumberedCause mySqlCauses[] = {
    // lock wait, deadlock, lock table full, global read lock, NOWAIT
    {1205, FailureCause::Locked}, {1213, FailureCause::Locked}, {1206, FailureCause::Locked},
    {1223, FailureCause::Locked}, {3572, FailureCause::Locked},
    // rights on the database, login, table, column, grants, routines, special rights
    {1044, FailureCause::NoRight}, {1045, FailureCause::NoRight}, {1142, FailureCause::NoRight},
    {1143, FailureCause::NoRight}, {1227, FailureCause::NoRight}, {1370, FailureCause::NoRight},
    {1698, FailureCause::NoRight},
    // table, transaction, server (also innodb_read_only)
    {1036, FailureCause::ReadOnly}, {1290, FailureCause::ReadOnly}, {1792, FailureCause::ReadOnly},
    {1836, FailureCause::ReadOnly},
    {1021, FailureCause::DiskFull}, {1114, FailureCause::DiskFull},
    // creating, opening, closing, reading, writing files; the storage engine
    {1004, FailureCause::DiskFault}, {1016, FailureCause::DiskFault}, {1017, FailureCause::DiskFault},
    {1023, FailureCause::DiskFault}, {1024, FailureCause::DiskFault}, {1026, FailureCause::DiskFault},
    {1030, FailureCause::DiskFault},
    {1033, FailureCause::Damaged}, {1034, FailureCause::Damaged}, {1035, FailureCause::Damaged},
    {1194, FailureCause::Damaged}, {1195, FailureCause::Damaged}, {1712, FailureCause::Damaged},
    {1877, FailureCause::Damaged},
    {1969, FailureCause::TimedOut}, {3024, FailureCause::TimedOut},
    // too many connections, a node outside of its cluster, a blocked host
    {1040, FailureCause::Unreachable}, {1047, FailureCause::Unreachable},
    {1129, FailureCause::Unreachable}, {1130, FailureCause::Unreachable},
    {1203, FailureCause::Unreachable},
};

constexpr StateCause postgreSqlCauses[] = {
    {"55P03", FailureCause::Locked},    {"55006", FailureCause::Locked},
    {"40001", FailureCause::Locked},    {"40P01", FailureCause::Locked},
    {"42501", FailureCause::NoRight},   {"28", FailureCause::NoRight},
    {"25006", FailureCause::ReadOnly},  {"53100", FailureCause::DiskFull},
    {"58", FailureCause::DiskFault},    {"XX001", FailureCause::Damaged},
    {"XX002", FailureCause::Damaged},   {"57014", FailureCause::TimedOut},
    {"53300", FailureCause::Unreachable}, {"08", FailureCause::Unreachable},
    {"57P0", FailureCause::Unreachable},
};
// clang-format on

template<std::size_t size>
FailureCause lookUp(const NumberedCause (&causes)[size], int code)
{
    for (const NumberedCause &known : causes) {
        if (known.code == code)
            return known.cause;
    }
    return FailureCause::Other;
}

} // namespace

FailureCause causeOf(Dialect dialect, const QSqlError &error)
{
    const QString code = error.nativeErrorCode();
    switch (dialect) {
    case Dialect::Sqlite: {
        constexpr int primaryCode = 0xff;
        const FailureCause exact = lookUp(sqliteCauses, code.toInt());
        return exact == FailureCause::Other ? lookUp(sqliteCauses, code.toInt() & primaryCode)
                                            : exact;
    }
    case Dialect::MySql:
        return lookUp(mySqlCauses, code.toInt());
    case Dialect::PostgreSql:
        for (const StateCause &known : postgreSqlCauses) {
            if (code.startsWith(QLatin1String(known.start)))
                return known.cause;
        }
        return FailureCause::Other;
    }
    return FailureCause::Other;
}

QString sentenceOf(FailureCause cause)
{
    switch (cause) {
    case FailureCause::None:
    case FailureCause::Other:
        return {};
    case FailureCause::Locked:
        return tr("База данных занята: её держит другое рабочее место или другая программа. Это "
                  "действие не выполнено, записанное раньше не пострадало. Подождите немного и "
                  "повторите.");
    case FailureCause::NoRight:
        return tr("Не хватает прав: пользователю базы данных это действие запрещено. Оно не "
                  "выполнено, записанное раньше не пострадало. Обратитесь к администратору базы "
                  "данных.");
    case FailureCause::ReadOnly:
        return tr("Базу данных нельзя изменить: она доступна только для чтения. Это действие не "
                  "выполнено, записанное раньше не пострадало. Проверьте права доступа к файлу "
                  "базы данных и его каталогу или обратитесь к администратору сервера.");
    case FailureCause::DiskFull:
        return tr("На диске с базой данных кончилось место. Это действие не выполнено, записанное "
                  "раньше не пострадало. Освободите место на диске и повторите.");
    case FailureCause::DiskFault:
        return tr("Файлы базы данных не читаются или не записываются. Это действие не выполнено. "
                  "Проверьте диск или сетевой каталог, где лежит база данных, и повторите.");
    case FailureCause::CannotOpen:
        return tr("Файл базы данных не открывается. Это действие не выполнено, записанное раньше "
                  "не пострадало. Проверьте, что диск с базой данных подключён, а файл и его "
                  "каталог доступны, и повторите.");
    case FailureCause::Damaged:
        return tr("Файл базы данных повреждён или это не база данных. Это действие не выполнено. "
                  "Не продолжайте работу и обратитесь к администратору: базу нужно восстановить "
                  "из копии.");
    case FailureCause::TimedOut:
        return tr("База данных не успела ответить за отведённое время. Записанное раньше не "
                  "пострадало. Проверьте, не занята ли она, и повторите действие.");
    case FailureCause::Unreachable:
        return tr("Нет связи с базой данных. Это действие не выполнено, записанное раньше не "
                  "пострадало. Проверьте сеть и сервер и повторите.");
    }
    return {};
}
