#pragma once

#include <QList>
#include <QString>
#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QSettings;
class QSpinBox;
class QWidget;

// The agent to talk to, as the user gives it.
struct SnmpTarget
{
    QString host;
    int port = 161;
    int version = 2; // 1, 2 (v2c) or 3
    QString community = QStringLiteral("public");
    QString user;
    int level = 1; // 1 noAuthNoPriv, 2 authNoPriv, 3 authPriv
    QString authProtocol = QStringLiteral("SHA");
    QString authPassword;
    QString privProtocol = QStringLiteral("AES");
    QString privPassword;

    // "host:port" (IPv6 addresses in brackets).
    QString address() const;
    // "host:port, v2c, community public" or "host:port, v3, user name (authPriv)".
    QString description() const;
    // The same agent, whatever the pass phrases.
    bool sameAgent(const SnmpTarget &other) const;
};

// The bar above the views: address or host name, port, SNMP version,
// community, and for version 3 a second row with user, security level,
// protocols and pass phrases. The address box lists the last targets, most
// recent first; choosing one fills in the rest. Pass phrases live in the
// fields only and are never written anywhere.
class TargetBar : public QWidget
{
    Q_OBJECT

public:
    explicit TargetBar(QWidget *parent = nullptr);

    SnmpTarget target() const;
    void setTarget(const SnmpTarget &target);

    // Writes the target into a view (Target, SNMPPort, Community, SNMPVersion)
    // and, for version 3, the credentials into session and session into the view.
    static void applyTo(const SnmpTarget &target, QObject *view, QObject *session);

    // Puts the target first in the list of last targets (at most maxRecent).
    void remember(const SnmpTarget &target);
    QList<SnmpTarget> recent() const { return m_recent; }
    void loadRecent(QSettings &settings);
    void saveRecent(QSettings &settings) const;

    QLineEdit *addressEdit() const;

    // An agent address as AgentAddress reads it; a port given with the host overrides *port.
    static void splitAddress(const QString &text, QString *host, int *port);

    static constexpr int maxRecent = 12;

Q_SIGNALS:
    // Return was pressed in one of the fields.
    void activated();

private:
    void showVersionFields();
    void fillRecentList();
    void recentChosen(int index);

    QComboBox *m_address;
    QSpinBox *m_port;
    QComboBox *m_version;
    QLineEdit *m_community;
    QLabel *m_communityLabel;
    QWidget *m_v3Row;
    QLineEdit *m_user;
    QComboBox *m_level;
    QComboBox *m_authProtocol;
    QLineEdit *m_authPassword;
    QComboBox *m_privProtocol;
    QLineEdit *m_privPassword;
    QList<SnmpTarget> m_recent;
};
