#pragma once

#include "qxmibtreewidgets_export.h"

#include <QString>
#include <QWidget>

class OIDDetails;

// A small window holding one OIDDetails pane that fills it. QXMibOID::ShowOIDDetails
// reuses one shared form; the trees and grids pop up a new one per request.
class QXMIBTREEWIDGETS_EXPORT OIDDetailsForm : public QWidget
{
    Q_OBJECT

public:
    explicit OIDDetailsForm(QWidget *parent = nullptr);
    ~OIDDetailsForm() override;

    // Shows the details of the OID with its values and returns at once.
    Q_INVOKABLE void ShowOIDDetails(const QString &oid, const QString &rawValue, const QString &parsedValue);

    OIDDetails *details() const;

    // The form that QXMibOID::ShowOIDDetails uses, created on first need.
    static OIDDetailsForm *shared();
    // A new form that deletes itself when closed (the views' PopupOIDDetails).
    static OIDDetailsForm *popup(const QString &oid, const QString &rawValue, const QString &parsedValue);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    OIDDetails *m_details;
};
