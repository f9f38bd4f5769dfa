// What the channel pipeline needs of the engine that plays it: the device's clock, the list of
// playing channels and the thread that decodes ahead for them, the syncs, and the channel table.
// The pipeline sits below the engine and reaches it only through this; the engine
// (root/engine.h) is the one host and installs itself when it is made.
#pragma once

#include "api.h"

#include <memory>

namespace engine {

class Channel;
class PlayList;
class Syncs;

class Host {
  public:
    // The device frame being heard now, and the device's rate.
    virtual double heardFrame() const = 0;
    virtual unsigned rate() const = 0;
    // The channels the device mixes, and a wake-up for the thread that fills their rings.
    virtual PlayList& playList() = 0;
    virtual void wakeUpdate() = 0;
    virtual Syncs& syncs() = 0;
    // The channel table: a handle for a new channel (0 when full), a channel by handle, freeing.
    virtual DWORD addChannel(const std::shared_ptr<Channel>& channel) = 0;
    virtual std::shared_ptr<Channel> channel(DWORD handle) = 0;
    virtual bool freeChannel(DWORD handle) = 0;

  protected:
    ~Host() = default;
};

// The engine in use. Set once, by the engine, before any channel exists.
Host& host();
void setHost(Host& host);

} // namespace engine
