#pragma once

namespace glyphd {

// Which instrument the daemon runs on, from QRX4400_CONFIGURED and RAB_CONFIGURED: each
// counts only when it is exactly "YES".
struct InstrumentConfiguration
{
    bool qrx4400 = false;
    bool rab = false;

    static InstrumentConfiguration fromEnvironment();
};

} // namespace glyphd
