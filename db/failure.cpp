#include "db/failure.h"

#include <QCoreApplication>

namespace {

struct Sentence
{
    FailureCause cause;
    const char *text;
};

constexpr Sentence sentences[] = {
    {FailureCause::Locked,
     QT_TRANSLATE_NOOP(
         "Failure", "База данных занята: её держит другое рабочее место или другая программа. Это "
                    "действие не выполнено, записанное раньше не пострадало. Подождите немного и "
                    "повторите.")},
    {FailureCause::NoRight,
     QT_TRANSLATE_NOOP(
         "Failure", "Не хватает прав: пользователю базы данных это действие запрещено. Оно не "
                    "выполнено, записанное раньше не пострадало. Обратитесь к администратору базы "
                    "данных.")},
    {FailureCause::ReadOnly,
     QT_TRANSLATE_NOOP(
         "Failure", "Базу данных нельзя изменить: она доступна только для чтения. Это действие не "
                    "выполнено, записанное раньше не пострадало. Проверьте права доступа к файлу "
                    "базы данных и его каталогу или обратитесь к администратору сервера.")},
    {FailureCause::DiskFull,
     QT_TRANSLATE_NOOP(
         "Failure",
         "На диске с базой данных кончилось место. Это действие не выполнено, записанное "
         "раньше не пострадало. Освободите место на диске и повторите.")},
    {FailureCause::DiskFault,
     QT_TRANSLATE_NOOP(
         "Failure", "Файлы базы данных не читаются или не записываются. Это действие не выполнено. "
                    "Проверьте диск или сетевой каталог, где лежит база данных, и повторите.")},
    {FailureCause::CannotOpen,
     QT_TRANSLATE_NOOP(
         "Failure", "Файл базы данных не открывается. Это действие не выполнено, записанное раньше "
                    "не пострадало. Проверьте, что диск с базой данных подключён, а файл и его "
                    "каталог доступны, и повторите.")},
    {FailureCause::Damaged,
     QT_TRANSLATE_NOOP(
         "Failure", "Файл базы данных повреждён или это не база данных. Это действие не выполнено. "
                    "Не продолжайте работу и обратитесь к администратору: базу нужно восстановить "
                    "из копии.")},
    {FailureCause::TimedOut,
     QT_TRANSLATE_NOOP("Failure",
                       "База данных не успела ответить за отведённое время. Записанное раньше не "
                       "пострадало. Проверьте, не занята ли она, и повторите действие.")},
    {FailureCause::Unreachable,
     QT_TRANSLATE_NOOP("Failure",
                       "Нет связи с базой данных. Это действие не выполнено, записанное раньше не "
                       "пострадало. Проверьте сеть и сервер и повторите.")},
    {FailureCause::BadSigns,
     QT_TRANSLATE_NOOP("Failure",
                       "В тексте есть знаки, которых эта база данных не хранит (например, эмодзи). "
                       "Ничего не записано. Уберите их и повторите.")},
};

} // namespace

QString sentenceOf(FailureCause cause)
{
    for (const Sentence &sentence : sentences) {
        if (sentence.cause == cause)
            return QCoreApplication::translate("Failure", sentence.text);
    }
    return {};
}
