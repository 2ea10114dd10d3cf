// What a broker must never send. Whatever arrives, the client is then still connected and serves a
// whole session, or it has said that the link is lost and comes back for one.
#include "hostile/cruel_session.h"

namespace {

using namespace zep_test;

// The clauses are those of MQTT 3.1.1 and, behind the stroke, of MQTT 5.0. Several packets of one
// kind are separated by commas. The client has subscribed with identifier 1, has published with 2
// at QoS 1 and with 3 at QoS 2, and has unsubscribed with 4.
struct malformed {
    std::string packets;
    const char *clause;
};

const malformed BOTH[] = {
    {"00 00, 0f 02 0001", "2.2.1 | 2.1.2: there is no type 0"},
    {"82 08 0001 0003 'a/#' 01, a2 07 0001 0003 'a/#', c0 00", "2.2.1 | 2.1.2: not of a broker"},
    {"d0 80 00, d0 80 80 80 00", "2.2.3 | 1.5.5: not the fewest bytes"},
    {"30 ff ff ff ff 00", "2.2.3 | 1.5.5: five bytes of length"},
    {"36 07 0001 't' 0007 'hi', 3f 07 0001 't' 0007 'hi'", "3.3.1.2 | 3.3.1.2: QoS 3"},
    {"30 02 0000", "4.7.3 | 4.7.3: empty topic"},
    {"30 04 0005 'ab', 30 05 ffff 'tab'", "1.5.3 | 1.5.4: longer than the packet"},
    {"30 89 07 0384 61*900 00 'hi', 32 8b 07 0384 61*900 0007 00 'hi', 30 d0 0f 07c8 61*1992 00*6",
     "1.5.3 | 1.5.4: longer than this client takes"},
    {"40 02 0000, 50 02 0000, 62 02 0000, 70 02 0000", "2.3.1 | 2.2.1: identifier 0"},
    {"40 02 ffff, 50 02 ffff, 62 02 ffff, 70 02 ffff", "4.3 | 4.3: never sent"},
    {"40 02 0001, 50 02 0001, 62 02 0001, 70 02 0001", "4.3 | 4.3: of a SUBSCRIBE"},
    {"50 02 0002, 62 02 0002, 70 02 0002", "4.3 | 4.3: of a QoS 1 message"},
    {"40 02 0004, 50 02 0004, 62 02 0004, 70 02 0004", "4.3 | 4.3: of an UNSUBSCRIBE"},
    {"40 02 0003, 62 02 0003, 70 02 0003", "4.3 | 4.3: of a QoS 2 message, and out of turn"},
};

const malformed ONLY_311[] = {
    {V311.connect, "2.2.1: not of a broker"},
    {"e0 00, e1 00, e0 01 00", "3.14: not of a broker"},
    {"f0 00, ff 02 0000", "2.2.1: there is no type 15"},
    {"20 02 fe 00", "3.2.2.1: reserved flags"},
    {"20 02 01 05", "3.2.2.2: a session, and refused"},
    {"20 02 00 06, 20 02 00 ff", "3.2.2.3: unknown code"},
    {"38 05 0001 't' 'hi'", "3.3.1.1: QoS 0 again"},
    {"32 07 0001 't' 0000 'hi', 34 07 0001 't' 0000 'hi'", "2.3.1: identifier 0"},
    {"30 07 0003 'a/#' 'hi', 30 07 0003 'a/+' 'hi'", "3.3.2.1: wildcard"},
    {"30 05 0001 00 'hi'", "1.5.3: NUL"},
    {"30 06 0002 c0af 'hi', 30 07 0003 eda080 'hi', 30 05 0001 ff 'hi'", "1.5.3: not UTF-8"},
    {"90 03 0001 03, 90 03 0001 7f", "3.9.3: unknown code"},
    {"90 04 0001 00 80, 90 14 0001 00*18", "3.9.3: more codes than filters"},
    {"90 03 0000 00, 90 03 0002 00, 90 03 0003 00, 90 03 0004 00, 90 03 ffff 00",
     "3.8.4: another exchange"},
    {"b0 02 0000, b0 02 0001, b0 02 0002, b0 02 0003, b0 02 ffff", "3.10.4: another exchange"},
};

const malformed ONLY_50[] = {
    {V50.connect, "2.1.2: not of a broker"},
    {"f0 00, f0 02 18 00, ff 06 18 04 15 0001 'x'", "4.12: no authentication was asked for"},
    {"e0 01 04, e0 02 8b 7f, ef 02 00 00", "3.14: reason, properties, flags"},
    {"20 03 fe 00 00", "3.2.2.1: reserved flags"},
    {"20 03 01 87 00", "3.2.2.1.1: a session, and refused"},
    {"20 03 00 01 00, 40 03 0002 7f, 50 03 0003 01, 62 03 0003 10, 70 03 0003 01", "2.4: reason"},
    {"20 03 00 00 05, 20 07 00 00 ff ff ff ff 7f", "2.2.2.1: properties without end"},
    {"20 06 00 00 03 21 0000", "3.2.2.3.3: nothing may be sent"},
    {"20 05 00 00 02 24 02, 20 05 00 00 02 25 02", "3.2.2.3.4, 3.2.2.3.5: neither 0 nor 1"},
    {"20 08 00 00 05 27 00000000", "3.2.2.3.6: no packet fits"},
    {"20 09 00 00 06 13 0007 13 0009, 20 05 00 00 02 13 00", "3.2.2.3.14: twice, half"},
    {"20 06 00 00 03 1f 00ff, 20 09 00 00 06 26 0001 'k' 00ff", "1.5.4, 1.5.7: text without end"},
    {"20 05 00 00 02 7f 00, 20 08 00 00 05 02 0000003c", "2.2.2.2: not of a CONNACK"},
    {"38 06 0001 't' 00 'hi'", "3.3.1.1: QoS 0 again"},
    {"32 08 0001 't' 0000 00 'hi', 34 08 0001 't' 0000 00 'hi'", "2.2.1: identifier 0"},
    {"30 08 0003 'a/#' 00 'hi', 30 05 0000 00 'hi'", "3.3.2.1: wildcard; neither topic nor alias"},
    {"30 06 0001 00 00 'hi', 30 07 0002 c0af 00 'hi', 30 08 0003 eda080 00 'hi'", "1.5.4: UTF-8"},
    {"30 06 0001 't' 7f 'hi', 30 0a 0001 't' ff ff ff ff 7f 'hi'",
     "2.2.2.1: properties without end"},
    {"30 08 0001 't' 02 01 02 'hi'", "3.3.2.3.2: unknown format"},
    {"30 07 0001 't' 03 02 0000", "3.3.2.3.3: half a number"},
    {"30 10 0001 't' 0a 02 0000003c 02 0000003c 'hi'", "3.3.2.3.3: twice"},
    {"30 09 0001 't' 03 23 0000 'hi', 30 08 0000 03 23 0001 'hi'", "3.3.2.3.4: unknown alias"},
    {"30 0b 0001 't' 05 08 0002 'a#' 'hi'", "3.3.2.3.5: wildcard"},
    {"30 08 0001 't' 02 0b 00 'hi'", "3.3.2.3.8: subscription 0"},
    {"30 08 0001 't' 02 03 ff 'hi', 30 0b 0001 't' 05 26 0001 'k' 00 'hi'", "1.5.4: half a text"},
    {"30 08 0001 't' 02 7f 00 'hi', 30 09 0001 't' 03 21 000a 'hi'", "2.2.2.2: not of a PUBLISH"},
    {"40 04 0002 00 05, 40 07 0002 00 03 1f 00ff", "3.4.2.2: properties without end"},
    {"90 04 0001 00 03, 90 05 0001 00 00 80, 90 04 0001 05 00",
     "3.9.3, 3.9.2.1: codes, properties"},
    {"90 04 0000 00 00, 90 04 0002 00 00, 90 04 0003 00 00, 90 04 0004 00 00, 90 04 ffff 00 00",
     "3.8.4: another exchange"},
    {"b0 04 0000 00 00, b0 04 0001 00 00, b0 04 0002 00 00, b0 04 0003 00 00, b0 04 ffff 00 00",
     "3.10.4: another exchange"},
    {"b0 04 0004 00 7f, b0 04 0004 7f 00, b0 05 0004 00 00 00",
     "3.11.3, 3.11.2.1: codes, properties"},
    {"20 b7 02 00 00 b3 02 1f 0130 61*304, 40 b8 02 0002 00 b3 02 1f 0130 61*304",
     "3.2.2.3.9, 3.4.2.2.2: longer than this client takes"},
    {"30 ba 02 0001 't' b3 02 08 0130 61*304 'hi', e0 b6 02 8b b3 02 1f 0130 61*304",
     "3.3.2.3.5, 3.14.2.2.3: longer than this client takes"},
};

class malformed_test : public cruel_session {
 protected:
    // During the handshake and during exchanges.
    void meet(const bytes &packet) {
        for (const bool connecting : {true, false}) {
            SCOPED_TRACE((connecting ? "connecting, " : "connected, ") +
                         testing::PrintToString(packet));
            if (HasFailure()) {
                return;
            }
            start();
            if (!connecting) {
                round();
                EXPECT_EQ(subscribe() + publish(1, "--") + publish(2, "--") + unsubscribe(), 0);
            }
            proxy.send(packet);
            endure();
            EXPECT_EQ(count(LOST), connections - 1);
            prosper();
        }
    }

    template <size_t Count>
    void meet(const malformed (&cases)[Count]) {
        for (const malformed &kind : cases) {
            SCOPED_TRACE(kind.clause);
            for (size_t at = 0, end = 0; end != std::string::npos; at = end + 1) {
                end = kind.packets.find(',', at);
                meet(lay(kind.packets.substr(at, end - at)));
            }
        }
    }
};
INSTANTIATE_TEST_SUITE_P(, malformed_test, testing::Values(&V311, &V50), version_name);

TEST_P(malformed_test, packets_wedge_nothing) {
    meet(BOTH);
    if (is_50()) {
        meet(ONLY_50);
    } else {
        meet(ONLY_311);
    }
}

}  // namespace
