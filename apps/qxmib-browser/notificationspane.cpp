#include "notificationspane.h"

#include "controls.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <exception>

NotificationsPane::NotificationsPane(QWidget *parent)
    : QWidget(parent)
{
    m_port = new QSpinBox;
    m_port->setObjectName(QStringLiteral("TrapPort"));
    m_port->setRange(1, 65535);
    m_port->setValue(kDefaultPort);
    m_listen = new QPushButton(tr("&Listen"));
    m_listen->setObjectName(QStringLiteral("ListenButton"));
    m_state = new QLabel;
    m_state->setObjectName(QStringLiteral("TrapState"));
    m_state->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *hint = new QLabel(tr("Port 162, where devices send traps, needs privileges: send to %1 instead, or let "
                               "the browser bind it with sudo setcap cap_net_bind_service=+ep qxmib-browser.")
                                .arg(kDefaultPort));
    hint->setObjectName(QStringLiteral("TrapHint"));
    hint->setWordWrap(true);
    hint->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto *bar = new QHBoxLayout;
    auto *label = new QLabel(tr("UDP &port:"));
    label->setBuddy(m_port);
    bar->addWidget(label);
    bar->addWidget(m_port);
    bar->addWidget(m_listen);
    bar->addWidget(m_state, 1);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 0);
    layout->addLayout(bar);
    layout->addWidget(hint);
    m_list = Controls::createWidget("TrapList", this);
    if (m_list != nullptr) {
        layout->addWidget(m_list, 1);
    } else {
        auto *missing = new QLabel(tr("This build of the component has no TrapList."));
        missing->setAlignment(Qt::AlignCenter);
        layout->addWidget(missing, 1);
        m_listen->setEnabled(false);
    }
    connect(m_listen, &QPushButton::clicked, this, [this] {
        if (isListening())
            stop();
        else
            listen(m_port->value());
    });
}

bool NotificationsPane::listen(int port)
{
    if (m_list == nullptr)
        return false;
    m_port->setValue(port);
    m_list->setProperty("Port", port);
    try {
        Controls::call(m_list, "Listen");
    } catch (const std::exception &e) {
        m_state->setText(QString::fromLocal8Bit(e.what()));
        m_listen->setText(tr("&Listen"));
        return false;
    }
    m_state->setText(tr("Listening on UDP port %1 (every IPv4 address)").arg(port));
    m_listen->setText(tr("&Stop"));
    m_port->setEnabled(false);
    return true;
}

void NotificationsPane::stop()
{
    if (m_list != nullptr)
        Controls::call(m_list, "Close");
    m_state->setText(tr("Not listening"));
    m_listen->setText(tr("&Listen"));
    m_port->setEnabled(true);
}

bool NotificationsPane::isListening() const
{
    return m_list != nullptr && m_list->property("Listening").toBool();
}

int NotificationsPane::port() const
{
    return m_port->value();
}

QString NotificationsPane::stateText() const
{
    return m_state->text();
}
