#include "widgets/slotnames.h"

#include <QDebug>
#include <QMetaMethod>
#include <QObject>

namespace {

/// The signal of that name whose arguments a slot can take.
QMetaMethod signalFor(const QObject *sender, const QByteArray &name, const QMetaMethod &slot)
{
    const QMetaObject *meta = sender->metaObject();
    for (int i = 0; i < meta->methodCount(); ++i) {
        const QMetaMethod method = meta->method(i);
        if (method.methodType() == QMetaMethod::Signal && method.name() == name &&
            QMetaObject::checkConnectArgs(method, slot))
            return method;
    }
    return {};
}

} // namespace

void connectSlots(QObject *receiver, const QObject *owner)
{
    const QMetaObject *meta = receiver->metaObject();
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        const QMetaMethod slot = meta->method(i);
        const QByteArray name = slot.name();
        const qsizetype end = name.lastIndexOf('_');
        if (slot.methodType() != QMetaMethod::Slot || !name.toLower().startsWith("on_") || end < 4)
            continue;
        const QString object = QString::fromLatin1(name.mid(3, end - 3));
        const auto *sender = owner->findChild<const QObject *>(object);
        const QMetaMethod signal =
            sender ? signalFor(sender, name.mid(end + 1), slot) : QMetaMethod();
        if (!signal.isValid())
            qWarning() << "no signal for" << meta->className() << name;
        else
            QObject::connect(sender, signal, receiver, slot);
    }
}
