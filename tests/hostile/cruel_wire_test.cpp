// Whatever the wire does to a session, at whichever byte.
#include <algorithm>
#include <chrono>
#include <climits>
#include <sys/socket.h>

#include <zep_mqtt/net/adapter.h>

#include "hostile/cruel_session.h"

namespace {

using namespace zep_test;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class cruel_wire_test : public cruel_session {
 protected:
    void survive_one(const wire_fault &spoilt) {
        proxy.arm(spoilt);
        start();
        round();
        endure(spoilt.kind == fault::drop);
        const long lost_links = count("CONNACK ok") - 1;
        EXPECT_LE(count(LOST), lost_links);
        untold += lost_links - count(LOST);
        prosper();
    }

    void survive_at_every(fault kind, int steps = 0) {
        survive_one({});
        const size_t length[] = {played[TO_BROKER], played[TO_CLIENT]};
        for (const direction way : {TO_BROKER, TO_CLIENT}) {
            for (size_t at = 0; at <= length[way] && !HasFailure(); at++) {
                SCOPED_TRACE("direction " + std::to_string(way) + ", byte " + std::to_string(at));
                survive_one({kind, way, at, steps});
            }
        }
        // A ping that cannot be sent ends the connection without telling; 16 bytes move in its
        // round.
        EXPECT_LE(untold, 16);
    }

    long untold = 0;
};
INSTANTIATE_TEST_SUITE_P(, cruel_wire_test, testing::Values(&V311, &V50), version_name);

TEST_P(cruel_wire_test, every_stream_may_be_cut_in_two) {
    survive_at_every(fault::hold, 1);
}
TEST_P(cruel_wire_test, everything_may_come_late) {
    survive_at_every(fault::hold, 5);
}
TEST_P(cruel_wire_test, everything_may_come_in_one_piece) {
    survive_at_every(fault::hold, INT_MAX);
}
TEST_P(cruel_wire_test, everything_may_vanish) {
    survive_at_every(fault::drop);
}
TEST_P(cruel_wire_test, either_direction_may_end) {
    survive_at_every(fault::half_close);
}
TEST_P(cruel_wire_test, the_link_may_be_reset) {
    survive_at_every(fault::reset);
}

TEST_P(cruel_wire_test, who_stops_reading_is_waited_for_once_and_never_written_to_again) {
    start();
    round();
    const size_t before = proxy.passed(TO_BROKER);
    proxy.arm({fault::stall, TO_BROKER, before});
    proxy.step();
    const int least = 1;
    setsockopt(g_adapter_ctx[client->net_index].sock, SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
    const auto time_to_write = [this] {
        const auto began = steady_clock::now();
        if (is_50()) {
            proxy.send(lay(v->publish1, 7));
            pass();  // acknowledges
        } else {
            publish(0);
        }
        return steady_clock::now() - began;
    };
    size_t written = 0;
    auto longest = time_to_write();
    for (; longest < milliseconds(1000) && written < 100000; written++) {
        longest = time_to_write();
    }
    EXPECT_GE(longest, milliseconds(2900));
    EXPECT_LE(longest, milliseconds(3900));
    const auto began = steady_clock::now();
    EXPECT_EQ(publish(0), MQTT_ERR_INTERNAL);
    pass();
    EXPECT_LE(steady_clock::now() - began, milliseconds(1000));
    EXPECT_EQ(callbacks.take().back(), "DISCONNECT " + LOST);
    expect_disconnected();

    // The broker has got whole packets, and perhaps a part of the one that was given up.
    for (proxy.release(); !proxy.ended();) {
        proxy.step();
    }
    const size_t size = lay(is_50() ? PUBACK : v->publish0).size();
    EXPECT_EQ((proxy.passed(TO_BROKER) - before) / size, written);
    settle();
    prosper();
}

}  // namespace
