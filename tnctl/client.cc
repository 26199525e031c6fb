#include "tnctl/client.h"

#include <iterator>
#include <string>
#include <utility>

#include "tn/looper.h"
#include "tn/paths.h"
#include "tnctl/failure.h"

namespace tnctl {

namespace field = tn::field;

tn::message Client::exchange(const tn::message& request) const {
    tn::message reply = tn::getLooper()->exchangeMessage(request, timeout_);
    uint32_t code = 0;
    std::string text;
    if (!tn::isError(reply, &code, &text)) return reply;
    if (code == tn::error::Unreachable) text += " (looked in " + tn::busFolder() + ", see --root)";
    throw Failure(kFailed, text);
}

tn::message Client::ask(std::span<const uint32_t> path, uint32_t command, tn::message fields) const {
    fields.insert_u32_array(field::Destination, {path.begin(), path.end()});
    fields.insert_u32(field::Command, command);
    return exchange(fields);
}

std::vector<tn::message> Client::list(std::span<const uint32_t> path) const {
    std::vector<tn::message> items;
    tn::message next;
    while (true) {
        tn::message page = ask(path, tn::cmd::GetAll, next);
        std::vector<tn::message>& objects = page.get_message_array_ref(field::Objects);
        const bool moved = !objects.empty();
        items.insert(items.end(), std::make_move_iterator(objects.begin()), std::make_move_iterator(objects.end()));
        if (!page.has(field::Continue)) return items;
        // An owner that keeps saying "more" without giving any would never let us end.
        if (!moved) throw Failure(kFailed, "incomplete list: its owner announced more rows and sent none");
        next.insert_u32(field::Continue, page.get_u32(field::Continue));
    }
}

}  // namespace tnctl
