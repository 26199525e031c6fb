#include "hostd/links/neighbors.h"

#include "contracts/neighbors.h"
#include "hostd/table/row_text.h"

namespace hostd {

namespace neighbors = contracts::neighbors;

void Neighbors::writeEntry(const Neighbor& heard, tn::message& item) const {
    if (heard.address != 0) item.insert_be32(neighbors::Address, heard.address);
    insertText(item, neighbors::Version, heard.version);
    insertText(item, neighbors::Identity, heard.identity);
    insertText(item, neighbors::Platform, heard.platform);
    insertText(item, neighbors::Port, heard.port);
    if (!heard.mac.empty()) item.insert_raw(neighbors::Mac, heard.mac);
}

}  // namespace hostd
