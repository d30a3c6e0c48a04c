#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>
#include <QString>
#include <QVariant>

#include <memory>

class SettingsPrivate;

// The SNMP options of the live views (time-out, retries, bulk request size,
// SNMP version 2 switched off) and the ICMP echo payload, kept as text in the
// user's settings store under the component's title, group "Settings".
// Numbers are clamped when set through a property; every saved change is
// announced through Changed. Hosts create it as "QXMIBTree.Settings".
//
// A stored value that is not a number (or a Boolean) makes Refresh, and so the
// constructor, throw a type-mismatch QXMibError naming the store's file. A store
// that cannot be written makes SaveOption, and so every setter, throw a
// permission-denied QXMibError; the object keeps the value it had.
class QXMIBTREECORE_EXPORT Settings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(short SNMPTimeout READ SNMPTimeout WRITE setSNMPTimeout)
    Q_PROPERTY(short SNMPRetries READ SNMPRetries WRITE setSNMPRetries)
    Q_PROPERTY(short SNMPV2RequestSize READ SNMPV2RequestSize WRITE setSNMPV2RequestSize)
    Q_PROPERTY(bool DisableSNMPV2 READ DisableSNMPV2 WRITE setDisableSNMPV2)
    Q_PROPERTY(QString ICMPData READ ICMPData WRITE setICMPData)

public:
    Q_INVOKABLE explicit Settings(QObject *parent = nullptr);
    ~Settings() override;

    // Milliseconds, 100..5000.
    short SNMPTimeout() const;
    void setSNMPTimeout(short value);
    // Clamps the caller's variable as well.
    void letSNMPTimeout(short &value);
    // 1..5
    short SNMPRetries() const;
    void setSNMPRetries(short value);
    void letSNMPRetries(short &value);
    // Repetitions of the bulk requests of versions 2 and 3, 2..30.
    short SNMPV2RequestSize() const;
    void setSNMPV2RequestSize(short value);
    void letSNMPV2RequestSize(short &value);
    bool DisableSNMPV2() const;
    void setDisableSNMPV2(bool value);
    // Read from the store on every call.
    QString ICMPData() const;
    // Saves even when the text is unchanged.
    void setICMPData(const QString &value);

    // The stored text of a value, or defaultValue when the store has none.
    Q_INVOKABLE QVariant RetrieveOption(const QString &name, const QVariant &defaultValue) const;
    // Stores the value as text, then raises Changed; nothing is raised when it cannot be stored.
    Q_INVOKABLE void SaveOption(const QString &name, const QVariant &value);
    // Reloads the four cached options as stored, without clamping and without Changed.
    Q_INVOKABLE void Refresh();

    // The default ICMP payload built from the component's title and version.
    static QString defaultICMPData();

Q_SIGNALS:
    void Changed(const QString &name, const QVariant &value);

private:
    std::unique_ptr<SettingsPrivate> d;
};
