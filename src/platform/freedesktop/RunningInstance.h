#pragma once

#include <QByteArrayList>
#include <QDBusConnection>
#include <QStringList>

#include <variant>

namespace vantorel {

/// The program that already runs in this session, or that the bus can start, as seen from a second start.
/// Each call waits for the answer, however long that takes: links are routed before it comes.
namespace RunningInstance {

struct Answered { };
struct NotThere { }; ///< there is none, and the bus cannot start one
struct Refused {
    QString reason;
};
using Outcome = std::variant<Answered, NotThere, Refused>;

Outcome open(const QDBusConnection& bus, const QStringList& uris);
Outcome activate(const QDBusConnection& bus);

} // namespace RunningInstance

/// The arguments of a start as they go over the bus: links as they are, files as absolute paths (a relative one must
/// exist below `folder`), bytes that are no UTF-8 percent-encoded. What is neither is left out.
QStringList linksOfArguments(const QByteArrayList& arguments, const QByteArray& folder);

} // namespace vantorel
