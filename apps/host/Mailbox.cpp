#include "Mailbox.h"

#include <cstdio>
#include <exception>

#include <QAbstractEventDispatcher>

namespace lumo::host
{

Mailbox::Mailbox(QObject* parent) : QObject(parent), dispatcher_(QAbstractEventDispatcher::instance())
{
    connect(dispatcher_, &QAbstractEventDispatcher::awake, this, &Mailbox::runAll);
}

void Mailbox::post(std::function<void()> work)
{
    {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(work));
    }
    dispatcher_->wakeUp();
}

void Mailbox::clear()
{
    std::vector<std::function<void()>> dropped;
    const std::lock_guard lock(mutex_);
    dropped.swap(waiting_);
}

void Mailbox::runAll()
{
    std::vector<std::function<void()>> due;
    {
        const std::lock_guard lock(mutex_);
        due.swap(waiting_);
    }
    for (const std::function<void()>& work : due) {
        try {
            work();
        } catch (const std::exception& wrong) {
            // The other sessions know nothing of it; through Qt's event loop it would end them all.
            std::fprintf(stderr, "lumo-host: a step of a session is given up: %s\n", wrong.what());
        }
    }
}

} // namespace lumo::host
