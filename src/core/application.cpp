#include "application.h"

#include "globals.h"
#include "objectfactory.h"

QXMIB_REGISTER_CLASS(Application, Application)

Application::Application(QObject *parent)
    : QObject(parent)
{
}

Database *Application::MIBDatabase() const
{
    return Globals::database();
}
