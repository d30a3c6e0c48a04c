#pragma once

#include <QWidget>

class QLabel;
class QPushButton;
class QSpinBox;

// The Notifications pane: the component's TrapList listening on a UDP port the
// user picks (1162 unless told: 162 needs privileges), with a line on how to
// receive on 162 and what the listener is doing.
class NotificationsPane : public QWidget
{
    Q_OBJECT

public:
    static constexpr int kDefaultPort = 1162;

    explicit NotificationsPane(QWidget *parent = nullptr);

    // Listens on every IPv4 address at the port; false (and the reason shown) when it cannot.
    bool listen(int port);
    void stop();
    bool isListening() const;
    int port() const;
    // The component's list control, or null when this build of it has none.
    QWidget *list() const { return m_list; }
    // What the pane says about the listener.
    QString stateText() const;

private:
    QWidget *m_list = nullptr;
    QSpinBox *m_port = nullptr;
    QPushButton *m_listen = nullptr;
    QLabel *m_state = nullptr;
};
