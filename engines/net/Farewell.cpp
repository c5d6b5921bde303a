#include "Farewell.h"

namespace lumo::net
{
namespace
{

constexpr int64_t kPatienceMs = 500; // for a peer that goes on sending all the same

} // namespace

void Farewell::begin(IoLoop& loop, Socket&& socket)
{
    loop.addTimed(std::make_shared<Farewell>(loop, std::move(socket)));
}

Farewell::Farewell(IoLoop& loop, Socket&& socket)
    : m_loop(loop), m_socket(std::move(socket)), m_due(IoLoop::nowMs() + kPatienceMs),
      m_slot(loop.watch(m_socket.handle(), true, false, this))
{
}

Farewell::~Farewell()
{
    m_loop.unwatch(m_slot);
}

void Farewell::onIo(intptr_t, bool, bool, int64_t)
{
    auto& sink = m_loop.scratch();
    const Io state = m_socket.receive(sink.data(), sink.size()).state;
    if (state == Io::Closed || state == Io::Failed)
        m_loop.removeTimed(this);
}

void Farewell::onTime(int64_t)
{
    m_loop.removeTimed(this);
}

} // namespace lumo::net
