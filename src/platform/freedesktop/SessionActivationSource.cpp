#include "platform/freedesktop/SessionActivationSource.h"

#include <QDeadlineTimer>

#include <chrono>
#include <utility>

namespace vantorel {

namespace {

using namespace std::chrono_literals;
using State = ActivationBackend::State;

// Whoever is asked may take 30 ms: nobody is asked who could not be done 40 ms after the first was asked.
constexpr auto kLastQuestion = 10ms;

} // namespace

SessionActivationSource::SessionActivationSource(std::vector<std::unique_ptr<ActivationBackend>> backends) {
    for (auto& backend : backends) {
        // Later: a way may tell of itself while it is being asked something.
        connect(backend.get(), &ActivationBackend::stateChanged, this, &SessionActivationSource::choose,
                Qt::QueuedConnection);
        m_ways.push_back({std::move(backend)});
    }
}

void SessionActivationSource::start(Activated activated) {
    m_activated = std::move(activated);
    choose();
}

// One that does not know yet, or not any more, changes nothing: it neither needs the others nor replaces them.
void SessionActivationSource::choose() {
    bool allAbsent = true;
    bool isOnePresent = false;
    for (Way& way : m_ways) {
        ActivationBackend* const backend = way.backend.get();
        if (isOnePresent && way.isStarted) {
            way.isStarted = false;
            backend->stop();
        } else if (allAbsent && !way.isStarted) {
            way.isStarted = true;
            backend->start([this, backend](const std::optional<QString>& bundleID) {
                if (backend == best())
                    m_activated(bundleID);
            });
        }
        allAbsent = allAbsent && backend->state() == State::absent;
        isOnePresent = isOnePresent || (way.isStarted && backend->state() == State::present);
    }
}

// A way that has not been started, or was given up, counts for nothing.
ActivationBackend* SessionActivationSource::best() const {
    for (const Way& way : m_ways) {
        if (way.isStarted && way.backend->state() == State::present)
            return way.backend.get();
    }
    return nullptr;
}

ActivationBackend* SessionActivationSource::firstUnanswered() const {
    for (const Way& way : m_ways) {
        if (way.isStarted && way.backend->state() == State::unknown)
            return way.backend.get();
    }
    return nullptr;
}

std::optional<QString> SessionActivationSource::frontmost() {
    const QDeadlineTimer lastQuestion(kLastQuestion);
    do {
        ActivationBackend* const present = best();
        ActivationBackend* const asked = present ? present : firstUnanswered();
        if (!asked)
            return std::nullopt;
        auto found = asked->frontmost();
        if (asked->state() != State::absent)
            return found;
        choose(); // it has just turned out that the session does not have this one: the next may know
    } while (!lastQuestion.hasExpired());
    return std::nullopt;
}

} // namespace vantorel
