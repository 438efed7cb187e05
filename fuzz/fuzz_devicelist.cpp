// Reads arbitrary bytes as the control panel's device-list document and checks what the
// removable-storage item relies on: a refused document yields no devices, and a read one only
// devices the document's bytes could have named.
#include "items/cdevicelistreader.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

void check(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "fuzz_devicelist: %s\n", what);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string document(reinterpret_cast<const char *>(data), size);
    const glyphd::CDeviceListReader::Result result = glyphd::CDeviceListReader::read(document);

    if (!result.error.empty())
        check(result.devices.empty(), "devices from a refused document");
    // Each device needs an element of its own, and entities only ever shorten the text.
    check(result.devices.size() <= glyphd::CDeviceListReader::maxElements,
          "more devices than elements");
    for (const auto &device : result.devices)
        check(device.first.size() + device.second.size() <= size,
              "device longer than the document");

    // The reader keeps nothing between documents.
    const glyphd::CDeviceListReader::Result again = glyphd::CDeviceListReader::read(document);
    check(again.devices == result.devices && again.error == result.error, "second read differs");
    return 0;
}
