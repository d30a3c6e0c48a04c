#pragma once

#include "qxmibtreecore_export.h"

#include <QObject>
#include <QString>

// The SNMPv3 settings of one session: user, security level, authentication
// and privacy protocols with their pass phrases, and the context. The
// per-thread default session object is one of these (PelorusWrapper::
// defaultSession()), and every version 3 query carries its own copy.
//
// Protocol names are compared without regard to case: authentication "MD5",
// "SHA" (SHA-1), "SHA-224", "SHA-256", "SHA-384", "SHA-512"; privacy "DES",
// "AES" (= "AES-128"), "AES-192", "AES-256", and the "AES-192-C"/"AES-256-C"
// key-extension variants some vendors use. Pass phrases are kept in memory only.
class QXMIBTREECORE_EXPORT SnmpSession : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString UserName READ UserName WRITE setUserName)
    Q_PROPERTY(int SecurityLevel READ SecurityLevel WRITE setSecurityLevel)
    Q_PROPERTY(QString AuthProtocol READ AuthProtocol WRITE setAuthProtocol)
    Q_PROPERTY(QString AuthPassword READ AuthPassword WRITE setAuthPassword)
    Q_PROPERTY(QString PrivProtocol READ PrivProtocol WRITE setPrivProtocol)
    Q_PROPERTY(QString PrivPassword READ PrivPassword WRITE setPrivPassword)
    Q_PROPERTY(QString ContextName READ ContextName WRITE setContextName)
    Q_PROPERTY(QString ContextEngineID READ ContextEngineID WRITE setContextEngineID)

public:
    enum Level { NoAuthNoPriv = 1, AuthNoPriv = 2, AuthPriv = 3 };
    Q_ENUM(Level)

    Q_INVOKABLE explicit SnmpSession(QObject *parent = nullptr);
    ~SnmpSession() override;

    QString UserName() const { return m_userName; }
    void setUserName(const QString &value) { m_userName = value; }
    // 1 noAuthNoPriv, 2 authNoPriv, 3 authPriv
    int SecurityLevel() const { return m_securityLevel; }
    void setSecurityLevel(int value) { m_securityLevel = value; }
    QString AuthProtocol() const { return m_authProtocol; }
    void setAuthProtocol(const QString &value) { m_authProtocol = value; }
    QString AuthPassword() const { return m_authPassword; }
    void setAuthPassword(const QString &value) { m_authPassword = value; }
    QString PrivProtocol() const { return m_privProtocol; }
    void setPrivProtocol(const QString &value) { m_privProtocol = value; }
    QString PrivPassword() const { return m_privPassword; }
    void setPrivPassword(const QString &value) { m_privPassword = value; }
    QString ContextName() const { return m_contextName; }
    void setContextName(const QString &value) { m_contextName = value; }
    // Hexadecimal digits; empty for the agent's own engine.
    QString ContextEngineID() const { return m_contextEngineID; }
    void setContextEngineID(const QString &value) { m_contextEngineID = value; }

    // Copies the eight settings, one after another, from another session object.
    Q_INVOKABLE void copyFrom(const SnmpSession *other);

private:
    QString m_userName;
    int m_securityLevel = NoAuthNoPriv;
    QString m_authProtocol = QStringLiteral("SHA");
    QString m_authPassword;
    QString m_privProtocol = QStringLiteral("AES");
    QString m_privPassword;
    QString m_contextName;
    QString m_contextEngineID;
};
