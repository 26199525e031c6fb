#include "hostd/links/neighbors.h"

#include "hostd/table/row_text.h"

namespace hostd {

void Neighbors::list(const Neighbor& heard, tn::message& item) const {
    if (heard.address != 0) item.insert_be32(neighbor::Address, heard.address);
    insertText(item, neighbor::Version, heard.version);
    insertText(item, neighbor::Identity, heard.identity);
    insertText(item, neighbor::Platform, heard.platform);
    insertText(item, neighbor::Port, heard.port);
    if (!heard.mac.empty()) item.insert_raw(neighbor::Mac, heard.mac);
}

}  // namespace hostd
