// Whatever the wire does to a session, at whichever byte.
#include <climits>

#include "hostile/cruel_session.h"

namespace {

using namespace zep_test;

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

}  // namespace
