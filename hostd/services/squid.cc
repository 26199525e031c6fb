#include "hostd/services/squid.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <memory>

#include "hostd/source/shared_library.h"
#include "tn/sources.h"

namespace hostd {

namespace {

constexpr const char* kCurl = "libcurl.so.4";
constexpr size_t kMostPage = 256 * 1024;  // octets; squid's pages have about 5 KiB
constexpr long kPageTimeout = 5000;       // ms
constexpr std::string_view kBlanks = " \t\r";

/// The functions of libcurl that are used here.
struct CurlLibrary : SharedLibrary {
    decltype(&::curl_easy_init) open = nullptr;
    decltype(&::curl_easy_cleanup) close = nullptr;
    decltype(&::curl_easy_setopt) set = nullptr;
    decltype(&::curl_easy_perform) perform = nullptr;
    decltype(&::curl_easy_strerror) text = nullptr;

    CurlLibrary() : SharedLibrary(kCurl) {
        find("curl_easy_init", open);
        find("curl_easy_cleanup", close);
        find("curl_easy_setopt", set);
        find("curl_easy_perform", perform);
        find("curl_easy_strerror", text);
    }
};

/// libcurl's CURLOPT_WRITEFUNCTION: appends received octets to a page. Returns 0 for a page that gets too long, which
/// ends the transfer.
size_t append(const char* octets, size_t, size_t count, void* page) {
    auto& text = *static_cast<std::string*>(page);
    if (text.size() + count > kMostPage) return 0;
    text.append(octets, count);
    return count;
}

/// Fetches a page of the cache manager. On failure the result is empty and `problem` is set.
/// @param name  of the page: "info"
std::string fetch(const CurlLibrary& library, const std::string& url, const std::string& name, std::string& problem) {
    const std::unique_ptr<CURL, decltype(&::curl_easy_cleanup)> request(library.open(), library.close);
    if (!request) {
        problem = "no memory for a request";
        return {};
    }
    CURL* curl = request.get();
    std::string page;
    library.set(curl, CURLOPT_URL, (url + "/squid-internal-mgr/" + name).c_str());  // copied by the library
    library.set(curl, CURLOPT_PROXY, "");                                           // ignore http_proxy and the like
    library.set(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    library.set(curl, CURLOPT_TIMEOUT_MS, kPageTimeout);
    library.set(curl, CURLOPT_NOSIGNAL, 1L);
    library.set(curl, CURLOPT_FAILONERROR, 1L);
    library.set(curl, CURLOPT_WRITEFUNCTION, append);
    library.set(curl, CURLOPT_WRITEDATA, &page);
    if (const CURLcode result = library.perform(curl); result != CURLE_OK) {
        problem = "squid's page " + name + ": " + library.text(result);
        return {};
    }
    return page;
}

std::string_view trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text;
}

/// The text that follows the name and the separator in the first such line; empty if there is none.
std::string_view valueOf(std::string_view page, std::string_view name, char separator) {
    while (!page.empty()) {
        const size_t end = std::min(page.find('\n'), page.size());
        std::string_view line = trimmed(page.substr(0, end));
        page.remove_prefix(std::min(end + 1, page.size()));
        if (!line.starts_with(name)) continue;
        line = trimmed(line.substr(name.size()));
        if (line.starts_with(separator)) return trimmed(line.substr(1));
    }
    return {};
}

template <class Number>
std::optional<Number> numberIn(std::string_view value) {
    Number number{};
    const auto [end, problem] = std::from_chars(value.data(), value.data() + value.size(), number);
    return problem == std::errc() ? std::optional(number) : std::nullopt;
}

}  // namespace

SquidFigures parseSquidPages(std::string_view info, std::string_view counters, double uptime) {
    const auto size = [&](std::string_view name) { return numberIn<uint64_t>(valueOf(info, name, ':')); };
    const auto counter = [&](std::string_view name) { return numberIn<uint64_t>(valueOf(counters, name, '=')); };
    SquidFigures figures;
    if (const auto age = numberIn<double>(valueOf(info, "UP Time", ':')); age && *age >= 0 && *age <= uptime)
        figures.startedAt = static_cast<uint32_t>(uptime - *age);
    figures.memory = size("Storage Mem size");
    figures.storage = size("Storage Swap size");
    figures.hits = counter("client_http.hits");
    figures.clientOut = counter("client_http.kbytes_out");
    figures.serverRequests = counter("server.all.requests");
    figures.serverIn = counter("server.all.kbytes_in");
    figures.serverOut = counter("server.all.kbytes_out");
    return figures;
}

SquidReading readSquid(const std::string& url) {
    SquidReading reading;
    const CurlLibrary library;
    if (!library.isWhole()) {
        reading.problem = std::string(kCurl) + " isn't installed";
        return reading;
    }
    const std::string base = url.substr(0, url.find_last_not_of('/') + 1);
    const std::string info = fetch(library, base, "info", reading.problem);
    const double uptime = static_cast<double>(tn::getMilliseconds()) / 1000;
    if (!reading.problem.empty()) return reading;
    const std::string counters = fetch(library, base, "counters", reading.problem);
    if (!reading.problem.empty()) return reading;
    reading.figures = parseSquidPages(info, counters, uptime);
    if (reading.figures == SquidFigures()) reading.problem = "the server isn't squid's cache manager";
    return reading;
}

}  // namespace hostd
