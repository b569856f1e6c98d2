#pragma once

#include <QCoreApplication>
#include <QPointer>
#include <QThreadPool>

#include <utility>

namespace vantorel {

/// Runs `scan` on Qt's global thread pool and hands its result to `publish` on the main thread, unless `owner` is gone
/// by then. The result travels through the application object, which outlives every scan.
template <typename Owner, typename Scan, typename Publish>
void scanInBackground(Owner* owner, Scan scan, Publish publish) {
    QThreadPool::globalInstance()->start([owner = QPointer<Owner>(owner), scan = std::move(scan), publish] {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [owner, publish, result = scan()] {
                if (owner)
                    publish(result);
            },
            Qt::QueuedConnection);
    });
}

} // namespace vantorel
