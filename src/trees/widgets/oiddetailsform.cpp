#include "trees/widgets/oiddetailsform.h"

#include "core/messagesink.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "trees/widgets/oiddetails.h"

#include <QApplication>
#include <QPointer>
#include <QResizeEvent>

namespace {

QPointer<OIDDetailsForm> &sharedForm()
{
    static QPointer<OIDDetailsForm> form;
    return form;
}

bool haveWidgets()
{
    return qobject_cast<QApplication *>(QCoreApplication::instance()) != nullptr;
}

// QXMibOID::ShowOIDDetails lands here. Hosts without widgets have nothing to show it in.
void showSharedDetails(const QString &oid)
{
    if (!haveWidgets())
        return;
    try {
        OIDDetailsForm::shared()->ShowOIDDetails(oid, QString(), QString());
    } catch (const QXMibError &e) {
        MessageSink::show(e.description(), QString());
    }
}

const bool handlerInstalled = [] {
    QXMibOID::setShowDetailsHandler(&showSharedDetails);
    return true;
}();

} // namespace

OIDDetailsForm::OIDDetailsForm(QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_details(new OIDDetails(this))
{
    Q_UNUSED(handlerInstalled);
    setObjectName(QStringLiteral("OIDDetailsForm"));
    setWindowTitle(tr("OID Details"));
    m_details->setObjectName(QStringLiteral("OIDDetails"));
    resize(480, 420);
}

OIDDetailsForm::~OIDDetailsForm() = default;

void OIDDetailsForm::ShowOIDDetails(const QString &oid, const QString &rawValue, const QString &parsedValue)
{
    m_details->setOID(oid);
    m_details->setRawValue(rawValue);
    m_details->setParsedValue(parsedValue);
    show();
    raise();
}

OIDDetails *OIDDetailsForm::details() const
{
    return m_details;
}

OIDDetailsForm *OIDDetailsForm::shared()
{
    QPointer<OIDDetailsForm> &form = sharedForm();
    if (form.isNull())
        form = new OIDDetailsForm;
    return form.data();
}

OIDDetailsForm *OIDDetailsForm::popup(const QString &oid, const QString &rawValue, const QString &parsedValue)
{
    auto *form = new OIDDetailsForm;
    form->setAttribute(Qt::WA_DeleteOnClose);
    form->ShowOIDDetails(oid, rawValue, parsedValue);
    return form;
}

void OIDDetailsForm::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    m_details->setGeometry(0, 0, width(), height());
}
