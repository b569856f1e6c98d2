#pragma once

#include <QByteArrayList>
#include <QList>

#include <functional>

namespace vantorel {

/// The commands that open a desktop's page for default applications, in the order in which to try them: first those of
/// the desktop that runs, as XDG_CURRENT_DESKTOP names it, then those of all others. Only installed ones.
QList<QByteArrayList> settingsPages(const QByteArray& currentDesktop,
                                    const std::function<bool(const QByteArray& program)>& isInstalled);

/// One way to get something done; tells once, now or later, whether it has worked.
using Attempt = std::function<void(std::function<void(bool hasWorked)> tell)>;

/// Makes one attempt after the other until one works.
void tryInOrder(QList<Attempt> attempts);

} // namespace vantorel
