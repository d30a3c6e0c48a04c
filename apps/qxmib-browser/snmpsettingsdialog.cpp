#include "snmpsettingsdialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

QSpinBox *spinBox(const char *name, int low, int high, int value, const QString &suffix = QString())
{
    auto *box = new QSpinBox;
    box->setObjectName(QLatin1String(name));
    box->setRange(low, high);
    box->setValue(value);
    box->setSuffix(suffix);
    return box;
}

} // namespace

SnmpSettingsDialog::SnmpSettingsDialog(QObject *settings, QWidget *parent)
    : QDialog(parent)
    , m_settings(settings)
{
    setObjectName(QStringLiteral("SnmpSettingsDialog"));
    setWindowTitle(tr("SNMP Settings"));
    // The ranges the settings object keeps its values in.
    m_timeout = spinBox("SNMPTimeout", 100, 5000, settings->property("SNMPTimeout").toInt(), tr(" ms"));
    m_timeout->setSingleStep(100);
    m_retries = spinBox("SNMPRetries", 1, 5, settings->property("SNMPRetries").toInt());
    m_bulkSize = spinBox("SNMPV2RequestSize", 2, 30, settings->property("SNMPV2RequestSize").toInt());
    m_disableV2 = new QCheckBox(tr("&Use GetNext only (no GetBulk for SNMP v2c and v3)"));
    m_disableV2->setObjectName(QStringLiteral("DisableSNMPV2"));
    m_disableV2->setChecked(settings->property("DisableSNMPV2").toBool());

    auto *form = new QFormLayout;
    form->addRow(tr("&Time-out per request:"), m_timeout);
    form->addRow(tr("&Retries:"), m_retries);
    form->addRow(tr("&Bulk request size:"), m_bulkSize);
    form->addRow(m_disableV2);
    auto *note = new QLabel(tr("A request that gets no answer is sent again as often as Retries says, "
                               "each waiting for the time-out. The bulk request size is the number of "
                               "objects each GetBulk asks for."));
    note->setWordWrap(true);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(this, &QDialog::accepted, this, &SnmpSettingsDialog::apply);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(note);
    layout->addWidget(buttons);
}

void SnmpSettingsDialog::apply()
{
    m_settings->setProperty("SNMPTimeout", short(m_timeout->value()));
    m_settings->setProperty("SNMPRetries", short(m_retries->value()));
    m_settings->setProperty("SNMPV2RequestSize", short(m_bulkSize->value()));
    m_settings->setProperty("DisableSNMPV2", m_disableV2->isChecked());
}
