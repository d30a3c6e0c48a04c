#pragma once

#include <QDialog>

class QCheckBox;
class QSpinBox;

// The user's SNMP options through the component's Settings object: time-out,
// retries, bulk request size and SNMP version 2 switched off. The object
// clamps and stores what is set and says so through Changed.
class SnmpSettingsDialog : public QDialog
{
    Q_OBJECT

public:
    // settings: a "QXMIBTree.Settings" object.
    explicit SnmpSettingsDialog(QObject *settings, QWidget *parent = nullptr);

    // Writes the fields into the settings object.
    void apply();

private:
    QObject *m_settings;
    QSpinBox *m_timeout;
    QSpinBox *m_retries;
    QSpinBox *m_bulkSize;
    QCheckBox *m_disableV2;
};
