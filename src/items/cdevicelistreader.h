#pragma once

#include <map>
#include <string>

namespace glyphd {

// The removable-storage devices the control panel reports: device path to device state.
using DeviceList = std::map<std::string, std::string>;

// Reads the control panel's device-list document: the children of the root element named like
// the root's first child element, each with a "path" and a "state" attribute (missing ones
// read as empty; a later path replaces an earlier one). Plain C++, so that the fuzz build
// takes it without Qt.
class CDeviceListReader
{
public:
    struct Result
    {
        DeviceList devices;
        // Empty when the document was read; otherwise why not, with the byte offset. The
        // devices are then empty: a half-read list would report devices as pulled out.
        std::string error;
    };

    // More elements than this are refused before parsing: the parser descends once per
    // nesting level, and the count of elements bounds the depth it can reach.
    static constexpr std::size_t maxElements = 1024;

    static Result read(const std::string &document);
};

} // namespace glyphd
