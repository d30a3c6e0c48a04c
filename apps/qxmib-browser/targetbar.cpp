#include "targetbar.h"

#include "controls.h"

#include "snmp/agentaddress.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSettings>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

const char *const kLevels[] = {"noAuthNoPriv", "authNoPriv", "authPriv"};

QString versionText(int version)
{
    return version == 1 ? QStringLiteral("v1") : version == 3 ? QStringLiteral("v3") : QStringLiteral("v2c");
}

QLabel *buddyLabel(const QString &text, QWidget *field)
{
    auto *label = new QLabel(text);
    label->setBuddy(field);
    return label;
}

QComboBox *choice(const char *name, const QStringList &items)
{
    auto *box = new QComboBox;
    box->setObjectName(QLatin1String(name));
    box->addItems(items);
    return box;
}

QLineEdit *field(const char *name, int width, bool secret = false)
{
    auto *edit = new QLineEdit;
    edit->setObjectName(QLatin1String(name));
    edit->setMinimumWidth(width);
    if (secret)
        edit->setEchoMode(QLineEdit::Password);
    return edit;
}

} // namespace

QString SnmpTarget::address() const
{
    return AgentAddress{host, port, false}.text();
}

QString SnmpTarget::description() const
{
    if (version == 3)
        return QStringLiteral("%1, v3, user %2 (%3)")
            .arg(address(), user, QLatin1String(kLevels[qBound(1, level, 3) - 1]));
    return QStringLiteral("%1, %2, community %3").arg(address(), versionText(version), community);
}

bool SnmpTarget::sameAgent(const SnmpTarget &other) const
{
    return host == other.host && port == other.port && version == other.version && community == other.community
        && user == other.user && level == other.level && authProtocol == other.authProtocol
        && privProtocol == other.privProtocol;
}

TargetBar::TargetBar(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("TargetBar"));
    m_address = new QComboBox;
    m_address->setObjectName(QStringLiteral("Address"));
    m_address->setEditable(true);
    m_address->setInsertPolicy(QComboBox::NoInsert);
    // The list shows whole descriptions; completing a typed address into one would garble it.
    m_address->setCompleter(nullptr);
    m_address->setMinimumContentsLength(22);
    m_address->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_address->lineEdit()->setPlaceholderText(tr("address or host name"));
    m_port = new QSpinBox;
    m_port->setObjectName(QStringLiteral("Port"));
    m_port->setRange(1, 65535);
    m_port->setValue(161);
    m_version = choice("Version", {QStringLiteral("v1"), QStringLiteral("v2c"), QStringLiteral("v3")});
    m_version->setCurrentIndex(1);
    m_community = field("Community", 90);
    m_community->setText(QStringLiteral("public"));

    m_user = field("User", 90);
    m_level = choice("SecurityLevel", {QLatin1String(kLevels[0]), QLatin1String(kLevels[1]), QLatin1String(kLevels[2])});
    m_authProtocol = choice("AuthProtocol", {QStringLiteral("MD5"), QStringLiteral("SHA"), QStringLiteral("SHA-224"),
                                             QStringLiteral("SHA-256"), QStringLiteral("SHA-384"),
                                             QStringLiteral("SHA-512")});
    m_authPassword = field("AuthPassword", 90, true);
    m_privProtocol = choice("PrivProtocol", {QStringLiteral("DES"), QStringLiteral("AES"), QStringLiteral("AES-192"),
                                             QStringLiteral("AES-256")});
    m_privPassword = field("PrivPassword", 90, true);
    setTarget(SnmpTarget());

    auto *row1 = new QHBoxLayout;
    row1->setContentsMargins(0, 0, 0, 0);
    row1->addWidget(buddyLabel(tr("&Agent:"), m_address));
    row1->addWidget(m_address, 3);
    row1->addWidget(buddyLabel(tr("P&ort:"), m_port));
    row1->addWidget(m_port);
    row1->addWidget(buddyLabel(tr("&Version:"), m_version));
    row1->addWidget(m_version);
    m_communityLabel = buddyLabel(tr("Co&mmunity:"), m_community);
    row1->addWidget(m_communityLabel);
    row1->addWidget(m_community, 1);

    m_v3Row = new QWidget;
    auto *row2 = new QHBoxLayout(m_v3Row);
    row2->setContentsMargins(0, 0, 0, 0);
    row2->addWidget(buddyLabel(tr("&User:"), m_user));
    row2->addWidget(m_user, 1);
    row2->addWidget(buddyLabel(tr("&Level:"), m_level));
    row2->addWidget(m_level);
    row2->addWidget(buddyLabel(tr("A&uth:"), m_authProtocol));
    row2->addWidget(m_authProtocol);
    row2->addWidget(m_authPassword, 1);
    row2->addWidget(buddyLabel(tr("&Privacy:"), m_privProtocol));
    row2->addWidget(m_privProtocol);
    row2->addWidget(m_privPassword, 1);
    m_authPassword->setPlaceholderText(tr("pass phrase"));
    m_privPassword->setPlaceholderText(tr("pass phrase"));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 4, 6, 4);
    layout->setSpacing(4);
    layout->addLayout(row1);
    layout->addWidget(m_v3Row);

    connect(m_version, &QComboBox::currentIndexChanged, this, &TargetBar::showVersionFields);
    connect(m_level, &QComboBox::currentIndexChanged, this, &TargetBar::showVersionFields);
    connect(m_address, &QComboBox::activated, this, &TargetBar::recentChosen);
    for (QLineEdit *edit : {m_address->lineEdit(), m_community, m_user, m_authPassword, m_privPassword})
        connect(edit, &QLineEdit::returnPressed, this, &TargetBar::activated);
    showVersionFields();
}

// A port given with the host wins over the port box; text that is no address
// stays the host, and the views report what is wrong with it.
void TargetBar::splitAddress(const QString &text, QString *host, int *port)
{
    AgentAddress parsed;
    if (!AgentAddress::parse(text, &parsed)) {
        *host = text.trimmed();
        return;
    }
    *host = parsed.host;
    if (parsed.port > 0)
        *port = parsed.port;
}

SnmpTarget TargetBar::target() const
{
    SnmpTarget t;
    t.port = m_port->value();
    splitAddress(m_address->currentText(), &t.host, &t.port);
    t.version = m_version->currentIndex() + 1;
    t.community = m_community->text();
    t.user = m_user->text().trimmed();
    t.level = m_level->currentIndex() + 1;
    t.authProtocol = m_authProtocol->currentText();
    t.authPassword = m_authPassword->text();
    t.privProtocol = m_privProtocol->currentText();
    t.privPassword = m_privPassword->text();
    return t;
}

void TargetBar::setTarget(const SnmpTarget &t)
{
    m_address->setEditText(t.host);
    m_port->setValue(t.port);
    m_version->setCurrentIndex(qBound(1, t.version, 3) - 1);
    m_community->setText(t.community);
    m_user->setText(t.user);
    m_level->setCurrentIndex(qBound(1, t.level, 3) - 1);
    m_authProtocol->setCurrentIndex(qMax(0, m_authProtocol->findText(t.authProtocol, Qt::MatchFixedString)));
    m_privProtocol->setCurrentIndex(qMax(0, m_privProtocol->findText(t.privProtocol, Qt::MatchFixedString)));
    m_authPassword->setText(t.authPassword);
    m_privPassword->setText(t.privPassword);
}

void TargetBar::applyTo(const SnmpTarget &t, QObject *view, QObject *session)
{
    // Target first: it may carry a port of its own.
    view->setProperty("Target", t.host);
    view->setProperty("SNMPPort", t.port);
    view->setProperty("Community", t.community);
    view->setProperty("SNMPVersion", t.version);
    if (t.version != 3 || session == nullptr)
        return;
    session->setProperty("UserName", t.user);
    session->setProperty("SecurityLevel", t.level);
    session->setProperty("AuthProtocol", t.authProtocol);
    session->setProperty("AuthPassword", t.level >= 2 ? t.authPassword : QString());
    session->setProperty("PrivProtocol", t.privProtocol);
    session->setProperty("PrivPassword", t.level >= 3 ? t.privPassword : QString());
    Controls::setObjectProperty(view, "SessionHandle", session);
}

void TargetBar::remember(const SnmpTarget &target)
{
    SnmpTarget kept = target;
    kept.authPassword.clear();
    kept.privPassword.clear();
    for (qsizetype i = m_recent.size() - 1; i >= 0; --i) {
        if (m_recent.at(i).sameAgent(kept))
            m_recent.removeAt(i);
    }
    m_recent.prepend(kept);
    while (m_recent.size() > maxRecent)
        m_recent.removeLast();
    fillRecentList();
}

void TargetBar::loadRecent(QSettings &settings)
{
    m_recent.clear();
    const int count = settings.beginReadArray(QStringLiteral("RecentTargets"));
    for (int i = 0; i < qMin(count, int(maxRecent)); ++i) {
        settings.setArrayIndex(i);
        SnmpTarget t;
        t.host = settings.value(QStringLiteral("Host")).toString();
        t.port = settings.value(QStringLiteral("Port"), 161).toInt();
        t.version = qBound(1, settings.value(QStringLiteral("Version"), 2).toInt(), 3);
        t.community = settings.value(QStringLiteral("Community"), QStringLiteral("public")).toString();
        t.user = settings.value(QStringLiteral("User")).toString();
        t.level = qBound(1, settings.value(QStringLiteral("SecurityLevel"), 1).toInt(), 3);
        t.authProtocol = settings.value(QStringLiteral("AuthProtocol"), t.authProtocol).toString();
        t.privProtocol = settings.value(QStringLiteral("PrivProtocol"), t.privProtocol).toString();
        if (!t.host.isEmpty())
            m_recent.append(t);
    }
    settings.endArray();
    fillRecentList();
    if (!m_recent.isEmpty())
        setTarget(m_recent.first());
}

void TargetBar::saveRecent(QSettings &settings) const
{
    settings.beginWriteArray(QStringLiteral("RecentTargets"), int(m_recent.size()));
    for (int i = 0; i < m_recent.size(); ++i) {
        const SnmpTarget &t = m_recent.at(i);
        settings.setArrayIndex(i);
        settings.setValue(QStringLiteral("Host"), t.host);
        settings.setValue(QStringLiteral("Port"), t.port);
        settings.setValue(QStringLiteral("Version"), t.version);
        settings.setValue(QStringLiteral("Community"), t.community);
        settings.setValue(QStringLiteral("User"), t.user);
        settings.setValue(QStringLiteral("SecurityLevel"), t.level);
        settings.setValue(QStringLiteral("AuthProtocol"), t.authProtocol);
        settings.setValue(QStringLiteral("PrivProtocol"), t.privProtocol);
    }
    settings.endArray();
}

QLineEdit *TargetBar::addressEdit() const
{
    return m_address->lineEdit();
}

void TargetBar::showVersionFields()
{
    const bool v3 = m_version->currentIndex() == 2;
    m_communityLabel->setEnabled(!v3);
    m_community->setEnabled(!v3);
    m_v3Row->setVisible(v3);
    const int level = m_level->currentIndex() + 1;
    m_authProtocol->setEnabled(level >= 2);
    m_authPassword->setEnabled(level >= 2);
    m_privProtocol->setEnabled(level >= 3);
    m_privPassword->setEnabled(level >= 3);
}

void TargetBar::fillRecentList()
{
    const QString text = m_address->currentText();
    m_address->clear();
    for (const SnmpTarget &t : m_recent)
        m_address->addItem(t.description());
    m_address->setEditText(text);
}

void TargetBar::recentChosen(int index)
{
    if (index < 0 || index >= m_recent.size())
        return;
    // The pass phrases stay as typed: the list never holds them.
    SnmpTarget t = m_recent.at(index);
    t.authPassword = m_authPassword->text();
    t.privPassword = m_privPassword->text();
    setTarget(t);
}
