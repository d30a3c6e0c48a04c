#pragma once

#include "qxmibtreecore_export.h"

#include <QString>

// An agent's address as net-snmp's tools take it: "host", "host:port",
// "udp:host:port", a bare IPv6 address, "[v6addr]", "[v6addr]:port", and each of
// these behind "udp6:". Every host of the component reads targets through it,
// so a target means the same in each of them.
struct QXMIBTREECORE_EXPORT AgentAddress
{
    QString host;      // name or address; an IPv6 address without brackets
    int port = 0;      // 0 when the text names none
    bool ipv6 = false; // "udp6:" or an IPv6 address

    // False with *error set for text that is no address, among it a port that
    // is not a number from 1 to 65535 ("Bad port number in agent address: host:abc").
    static bool parse(const QString &text, AgentAddress *out, QString *error = nullptr);

    // "host:port" or "[v6addr]:port" with the port given, else defaultPort; the
    // bare host when neither is above 0.
    QString text(int defaultPort = 0) const;
    // net-snmp's peer name: "udp:host:port" or "udp6:[v6addr]:port" (port 161 unless given).
    QString peerName() const;
};
