#pragma once
// Modal dialogs in Qt tests: while `action` runs, a poll hands every modal
// dialog of type T that comes up to `onDialog`, which must close it.
#include <QApplication>
#include <QTimer>

#include <functional>

namespace lp::test {

// Returns how many such dialogs came.
template <class T>
int withModal(const std::function<void()>& action, const std::function<void(T&)>& onDialog, int pollMs = 0)
{
    int seen = 0;
    QTimer poll;
    poll.setInterval(pollMs);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (auto* dialog = qobject_cast<T*>(QApplication::activeModalWidget())) {
            ++seen;
            onDialog(*dialog);
        }
    });
    poll.start();
    action();
    return seen;
}

// Runs what Qt has posted: queued calls, then deletions (of screens unloaded).
inline void flushPosted()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace lp::test
