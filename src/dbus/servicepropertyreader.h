#pragma once

#include <QVariant>

class QDBusAbstractInterface;

namespace glyphd {

// Reads one property of the service behind a proxy and returns the value as the service sent
// it, whatever its D-Bus type; an invalid variant when the service is absent or refuses.
//
// The generated proxies' own property getters refuse a value whose type differs from the
// interface's (a string "1" for an unsigned comes back invalid, hence 0), whereas the items
// convert what arrives with the ordinary variant conversion. So the items read through here.
QVariant readServiceProperty(const QDBusAbstractInterface &proxy, const char *name);

} // namespace glyphd
