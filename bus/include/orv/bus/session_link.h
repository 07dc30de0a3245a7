// One end of a session between a controller and an agent.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "orv/bus/connection.h"
#include "orv/bus/frame.h"
#include "orv/bus/outbox.h"

namespace orv::bus {

/// The lanes of a session, over subjects and the stream of reports. Survives a lost connection and a server
/// that was killed and restarted: nothing is lost, repeated or out of order within a lane. A thread of its
/// own publishes, acknowledges twice a second and whenever something was taken, and looks after what is
/// missing.
class SessionLink {
  public:
    enum class Side { Controller, Agent };
    struct Setup {
        Side side = Side::Controller;
        std::string agent, session;
        Outbox::Limits limits =
            {};  ///< of each lane that this end sends on; frames are at most what the server takes
    };
    /// Says that a parcel is done with; until then its sender keeps it. Any thread may call it, once, also
    /// after the link has ended.
    using Take = std::function<void()>;
    struct Events {
        /// Called with the parcels of a lane in order, on one thread per lane.
        std::function<void(Lane lane, Parcel parcel, Take take)> receive;
        /// Something that needs to be said and does not end the session: the stream could not be restored
        /// yet. On the link's thread.
        std::function<void(const std::string& text)> warn = {};
        /// The other end does not keep to the rules of lanes: nothing more comes from it. Once, on the link's
        /// thread.
        std::function<void(const std::string& text)> broken = {};
    };

    /// `connection` outlives the link. Throws BusError.
    SessionLink(Connection& connection, const Setup& setup, Events events);
    /// No event follows. Must not be called by an event.
    ~SessionLink();
    SessionLink(const SessionLink&) = delete;
    SessionLink& operator=(const SessionLink&) = delete;

    /// Keeps the parcel until the other end is done with it. False, and nothing is kept, when the lane's
    /// spool is full; an `urgent` one is always kept. Any thread; returns at once.
    bool send(Lane lane, Parcel parcel, bool urgent = false);
    /// Call when the connection is back. Any thread.
    void on_reconnected();

    /// Since something came from the other end, or since the beginning.
    Nanoseconds get_silence() const;
    /// Waits until the other end is done with everything that was sent on the lane; false after `patience`.
    bool wait_until_taken(Lane lane, Nanoseconds patience) const;
    std::size_t get_spooled_bytes(Lane lane) const;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::bus
