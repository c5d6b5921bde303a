// What a login has running on a thread of its own: a playback, a download, a talk, a sent file, an upgrade, its alarms.
// Made, opened, released, stopped; nothing is called back before release() nor after finishStop().
//
// Thread: any. open() and finishStop() block; the latter while a callback of it runs, never for the device.
#pragma once

#include <memory>

namespace lumo::net
{

class Transfer : public std::enable_shared_from_this<Transfer>
{
public:
    virtual ~Transfer() = default;
    /// 0 or LUMONET_ERROR. Once.
    virtual int open() = 0;
    virtual void cancelOpen(int error) = 0;
    /// The handle is about to be returned: callbacks may begin a moment later.
    virtual void release() = 0;
    virtual void beginStop() = 0;
    virtual void finishStop() = 0;
};

} // namespace lumo::net
