// The commands that drive the controls. They run in qxmib-views, so that qxmib itself
// loads no GUI library.

#include "command.h"

QXMIB_VIEWS_COMMAND(browse, "walk an agent through the browser view, printed as its grid")
QXMIB_VIEWS_COMMAND(details, "print an object's details as text, RTF or HTML")
QXMIB_VIEWS_COMMAND(table, "an SNMP table through the table view, printed as its grid")
QXMIB_VIEWS_COMMAND(view, "show a MIB-X file's objects in the registration tree")
