#pragma once

#include <QString>

#include <functional>

class QObject;

namespace sms {

/// Looks whether an SMS gateway answers at an address and whether its certificate can be trusted;
/// no message is sent. Gives the reason why not, a sentence for the user, or an empty text, once.
/// The end of the context ends the look without a word.
void checkGateway(const QString &address, QObject *context,
                  const std::function<void(const QString &fault)> &done);

/// Why a text is no address of a gateway, a sentence for the user; empty when it is one or empty.
QString gatewayFault(const QString &address);

} // namespace sms
