#include "tnctl/listing.h"

#include <algorithm>
#include <ostream>

#include "tn/log.h"

namespace tnctl {

namespace {

using Cells = std::vector<std::string>;

// Characters, not octets: every octet of UTF-8 text but the continuing ones begins one.
size_t width(std::string_view text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

void printAligned(std::ostream& out, const std::vector<Cells>& lines) {
    std::vector<size_t> widths;
    for (const Cells& line : lines) {
        widths.resize(std::max(widths.size(), line.size()));
        for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], width(line[i]));
    }
    for (const Cells& line : lines) {
        for (size_t i = 0; i < line.size(); ++i) {
            out << line[i];
            if (i + 1 < line.size()) out << std::string(widths[i] - width(line[i]) + 2, ' ');
        }
        out << '\n';
    }
}

std::string joined(const Json& array) {
    std::string text;
    for (const Json& element : array) text += (text.empty() ? "" : ",") + cellText(element);
    return text;
}

}  // namespace

std::string cellText(const Json& value) {
    std::string text;
    if (value.is_boolean())
        text = value.get<bool>() ? "yes" : "no";
    else if (value.is_string())
        text = tn::escaped(value.get_ref<const std::string&>());
    else if (value.is_array())
        text = joined(value);
    else if (value.is_number())
        text = value.dump();
    return text.empty() ? "-" : text;
}

std::string ageText(uint64_t seconds) {
    constexpr uint64_t kMinute = 60, kHour = 60 * kMinute, kDay = 24 * kHour;
    if (seconds < kMinute) return std::to_string(seconds) + "s";
    if (seconds < kHour) return std::to_string(seconds / kMinute) + "m" + std::to_string(seconds % kMinute) + "s";
    if (seconds < kDay) return std::to_string(seconds / kHour) + "h" + std::to_string(seconds % kHour / kMinute) + "m";
    return std::to_string(seconds / kDay) + "d" + std::to_string(seconds % kDay / kHour) + "h";
}

std::string jsonText(const Json& value, int indent) {
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

void printList(const Session& session, const std::vector<Column>& columns, const std::vector<Json>& rows) {
    if (session.options.json) {
        session.console.out << jsonText(Json(rows)) << '\n';
        return;
    }
    std::vector<Cells> lines(1);
    for (const Column& column : columns) lines[0].emplace_back(column.heading);
    for (const Json& row : rows) {
        Cells& line = lines.emplace_back();
        for (const Column& column : columns) line.push_back(cellText(row.value(std::string(column.key), Json())));
    }
    printAligned(session.console.out, lines);
}

void printObject(const Session& session, const Json& object) {
    if (session.options.json) {
        session.console.out << jsonText(object) << '\n';
        return;
    }
    std::vector<Cells> lines;
    for (const auto& [name, value] : object.items()) lines.push_back({name, cellText(value)});
    printAligned(session.console.out, lines);
}

}  // namespace tnctl
