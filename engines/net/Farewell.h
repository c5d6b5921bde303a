// A connection after its last request: read until the peer closes it, so that the peer gets to read that request.
// Closing while the peer still sends would reset the connection, and what the peer has not read yet could be lost with
// it. Thread: the loop's. Owned by the loop; ends by itself.
#pragma once

#include "IoLoop.h"

namespace lumo::net
{

class Farewell final : public IoHandler, public IoTimed
{
public:
    /// Takes the socket, which nobody watches any more.
    static void begin(IoLoop& loop, Socket&& socket);

    Farewell(IoLoop& loop, Socket&& socket);
    ~Farewell() override;

    void onIo(intptr_t handle, bool readable, bool writable, int64_t nowMs) override;
    int64_t due() const override { return m_due; }
    void onTime(int64_t nowMs) override;

private:
    IoLoop& m_loop;
    Socket m_socket;
    int64_t m_due;
    size_t m_slot;
};

} // namespace lumo::net
