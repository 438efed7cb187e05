#pragma once

// Where the platform services live on the system bus. Each interface is named like its
// service.
namespace glyphd::platformservices {

inline constexpr char GpsService[] = "com.orvantasystems.platform.Gps";
inline constexpr char GpsPath[] = "/com/orvantasystems/platform/Gps";

inline constexpr char ClockSourceService[] = "com.orvantasystems.platform.ClockSource";
inline constexpr char ClockSourcePath[] = "/com/orvantasystems/platform/ClockSource";

inline constexpr char PropertiesInterface[] = "org.freedesktop.DBus.Properties";
inline constexpr char PropertiesChangedSignal[] = "PropertiesChanged";

} // namespace glyphd::platformservices
