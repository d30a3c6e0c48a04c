#pragma once

#include "qxmibtreecore_export.h"

#include <QtPlugin>

class SnmpQuery;

// The reply interface of the SNMP engine. Whoever sends a request passes an
// object implementing it; the engine calls Reply with the completed query
// (answer, SNMP error or time-out) from the thread's event loop, never from
// inside the send call. The query is valid for the duration of the call; the
// engine deletes it afterwards unless it was sent again or given a parent.
//
// Views multiply-inherit it next to QObject (declare Q_INTERFACES(SNMPReply)).
// Destroying an implementation drops the replies still due to it.
class QXMIBTREECORE_EXPORT SNMPReply
{
public:
    virtual ~SNMPReply();
    virtual void Reply(SnmpQuery *query) = 0;
};

#define SNMPReply_iid "QXMIBTree.SNMPReply"
Q_DECLARE_INTERFACE(SNMPReply, SNMPReply_iid)
