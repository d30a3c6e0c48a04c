#include "qxmiberror.h"

QXMibError::QXMibError(int number, const QString &description)
    : m_number(number)
    , m_description(description)
    , m_what(QString(QString::number(number) + QStringLiteral(": ") + description).toStdString())
{
}
