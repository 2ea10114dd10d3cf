#include "router.h"

#include <algorithm>

#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/validate.h>

#include "topic_filter.h"

namespace zep_demo {

bool router::subscribe(session &who, const subscription &what) {
    const auto shared =
        who.version() == MQTT_VERSION_50 ? shared_filter(what.filter) : std::nullopt;
    const std::string &filter = shared ? *shared : what.filter;
    if (what.qos > 2 || mqtt_topic_validate(filter.c_str(), MQTT_TOPIC_MODE_FILTER) != 0) {
        return false;
    }
    unsubscribe(who, what.filter);
    group &joined = groups_[what.filter];
    joined.filter = filter;
    joined.shared = shared.has_value();
    joined.members.push_back({&who, what.qos});
    return true;
}

void router::unsubscribe(session &who, const std::string &filter) {
    const auto found = groups_.find(filter);
    if (found == groups_.end()) {
        return;
    }
    std::erase_if(found->second.members, [&](const subscriber &each) { return each.who == &who; });
    if (found->second.members.empty()) {
        groups_.erase(found);
    }
}

void router::forget(session &who) {
    std::vector<std::string> filters;
    for (const auto &each : groups_) {
        filters.push_back(each.first);
    }
    for (const std::string &filter : filters) {
        unsubscribe(who, filter);
    }
}

void router::send_retained(session &who, const subscription &what) {
    std::erase_if(retained_, [](const auto &each) {
        return each.second.expires && *each.second.expires <= steady::now();
    });
    for (const auto &[topic, content] : retained_) {
        if (matches(what.filter, topic)) {
            who.deliver(content, what.qos);
        }
    }
}

void router::publish(const message &content) {
    if (content.retain) {
        retain(content);
    }
    message live = content;
    live.retain = false;  // to those who are there already (MQTT 3.1.1 §3.3.1.3)

    std::map<session *, uint8_t> receivers;  // each once, at the highest QoS granted
    for (auto &[name, each] : groups_) {
        if (!matches(each.filter, content.topic)) {
            continue;
        }
        if (each.shared) {
            const subscriber &chosen = each.members[each.next++ % each.members.size()];
            chosen.who->deliver(live, chosen.qos);
            continue;
        }
        for (const subscriber &member : each.members) {
            uint8_t &granted = receivers[member.who];
            granted = std::max(granted, member.qos);
        }
    }
    for (const auto &[who, granted] : receivers) {
        who->deliver(live, granted);
    }
}

// A retained message without a payload takes the one before it away.
void router::retain(const message &content) {
    if (content.payload.empty()) {
        retained_.erase(content.topic);
    } else {
        retained_[content.topic] = content;
    }
}

}  // namespace zep_demo
