#pragma once

#include "qxmibtreecore_export.h"

#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>

// One variable binding of a received notification, named and rendered by the
// MIB database. Name, Module and Instance are empty when the database has no
// definition for the OID.
struct QXMIBTREECORE_EXPORT NotificationBinding
{
    Q_GADGET
    Q_PROPERTY(QString OID MEMBER OID)
    Q_PROPERTY(QString Name MEMBER Name)
    Q_PROPERTY(QString Module MEMBER Module)
    Q_PROPERTY(QString Instance MEMBER Instance)
    Q_PROPERTY(QString TypeName MEMBER TypeName)
    Q_PROPERTY(int ValueType MEMBER ValueType)
    Q_PROPERTY(QString Value MEMBER Value)
    Q_PROPERTY(QString HexValue MEMBER HexValue)
    Q_PROPERTY(QString Rendered MEMBER Rendered)

public:
    QString OID;
    QString Name;
    QString Module;
    QString Instance;
    // The value's type as net-snmp's tools print it: "INTEGER", "STRING", "Timeticks", ...
    QString TypeName;
    int ValueType = 5; // BER tag, as in VarBind
    QString Value;     // printable raw value, as in VarBind
    QString HexValue;
    QString Rendered;  // the value as the object's definition shows it

    // "ifIndex.2", or the OID when the database does not know it.
    QString displayName() const;
};

// One trap or inform as the receiver took it in. SNMPv1 traps carry their
// enterprise, agent address and generic/specific numbers too, and their
// NotificationOID is the SNMPv2 form of the trap (RFC 3584, 3.1).
struct QXMIBTREECORE_EXPORT Notification
{
    Q_GADGET
    Q_PROPERTY(quint64 Serial MEMBER Serial)
    Q_PROPERTY(QDateTime Received MEMBER Received)
    Q_PROPERTY(QString SourceAddress MEMBER SourceAddress)
    Q_PROPERTY(int SourcePort MEMBER SourcePort)
    Q_PROPERTY(QString Transport MEMBER Transport)
    Q_PROPERTY(int Version MEMBER Version)
    Q_PROPERTY(bool Inform MEMBER Inform)
    Q_PROPERTY(QString Community MEMBER Community)
    Q_PROPERTY(QString UserName MEMBER UserName)
    Q_PROPERTY(QString EngineID MEMBER EngineID)
    Q_PROPERTY(QString ContextName MEMBER ContextName)
    Q_PROPERTY(QString NotificationOID MEMBER NotificationOID)
    Q_PROPERTY(QString NotificationName MEMBER NotificationName)
    Q_PROPERTY(QString Description MEMBER Description)
    Q_PROPERTY(quint32 UpTime MEMBER UpTime)
    Q_PROPERTY(QString UpTimeText MEMBER UpTimeText)
    Q_PROPERTY(QString Enterprise MEMBER Enterprise)
    Q_PROPERTY(QString AgentAddress MEMBER AgentAddress)
    Q_PROPERTY(int GenericTrap MEMBER GenericTrap)
    Q_PROPERTY(int SpecificTrap MEMBER SpecificTrap)

public:
    quint64 Serial = 0; // counts up from 1 per receiver
    QDateTime Received;
    QString SourceAddress;
    int SourcePort = 0;
    // net-snmp's words for the datagram's path: "UDP: [127.0.0.1]:40000->[127.0.0.1]:1162"
    QString Transport;
    int Version = 2; // 1, 2 (SNMPv2c) or 3
    bool Inform = false;
    QString Community; // SNMPv1 and SNMPv2c
    QString UserName;  // SNMPv3
    QString EngineID;  // SNMPv3: the sender's (traps) or ours (informs), hex
    QString ContextName;
    QString NotificationOID;
    // "IF-MIB:linkDown"; the OID when the database does not know it.
    QString NotificationName;
    QString Description; // the notification's definition text
    quint32 UpTime = 0;  // hundredths of a second
    QString UpTimeText;
    // SNMPv1 only
    QString Enterprise;
    QString AgentAddress;
    int GenericTrap = -1;
    int SpecificTrap = 0;
    // Without sysUpTime.0 and snmpTrapOID.0, which the fields above carry.
    QList<NotificationBinding> Bindings;

    // "v1", "v2c", "v3"
    QString versionText() const;
    // The community, or the SNMPv3 user.
    QString principal() const;
    // One line in snmptrapd's manner, each binding as "name.instance = rendered value".
    QString line() const;
};

Q_DECLARE_METATYPE(NotificationBinding)
Q_DECLARE_METATYPE(Notification)
