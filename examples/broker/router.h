// Who gets which message: subscriptions, shared subscriptions and retained messages.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "session.h"

namespace zep_demo {

class router {
 public:
    // A malformed filter is refused with false. A filter subscribed to again replaces itself.
    bool subscribe(session &who, const subscription &what);
    void unsubscribe(session &who, const std::string &filter);
    void forget(session &who);

    void send_retained(session &who, const subscription &what);
    void publish(const message &content);

 private:
    struct subscriber {
        session *who;
        uint8_t qos;
    };
    // All who subscribed to one filter. Of a shared one each message goes to one of them in turn.
    struct group {
        std::string filter;
        bool shared;
        std::vector<subscriber> members;
        size_t next;
    };

    void retain(const message &content);

    std::map<std::string, group> groups_;  // by the filter as it was subscribed to
    std::map<std::string, message> retained_;
};

}  // namespace zep_demo
