#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// What goes over the wire between the scales and us, as functions on bytes.
namespace scales {

inline constexpr char enquiry = 0x05;     ///< asks whether the scales are there
inline constexpr char acknowledge = 0x06; ///< their answer
inline constexpr char sendWeight = 0x11;  ///< asks for the weight

/// A weight in the unit of the scales (kg), or why there is none.
struct Reading
{
    std::optional<double> weight = {};
    QString fault = {};  ///< a sentence for the user
    QString reason = {}; ///< what to do about it, where that is known
};

/// Why an answer to the enquiry is not the right one; empty when it is.
QString acknowledgeFault(const QByteArray &answer);

/// The weight in the answer to sendWeight.
Reading readPacket(const QByteArray &packet);

} // namespace scales
