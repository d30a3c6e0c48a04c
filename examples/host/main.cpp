// A window with the tree of all MIBs beside an SNMP table view, both created by
// class name through the component's factory and driven through their
// properties, methods and signals by name. The controls library is loaded by
// the factory; this program links the core alone.
//
//   example-host [TARGET [TABLE]] [--quit-after SECONDS] [--screenshot FILE]
//
// A double click on a table in the tree retrieves it from TARGET (127.0.0.1).

#include <core/objectfactory.h>

#include <QApplication>
#include <QSplitter>
#include <QTimer>

class Host : public QObject
{
    Q_OBJECT
public:
    QObject *tree = nullptr;
    QObject *table = nullptr;
public Q_SLOTS:
    void open() { QMetaObject::invokeMethod(table, "GetTable", Q_ARG(QString, tree->property("SelectedOID").toString())); }
};

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    const auto option = [&args](const QString &name) {
        const qsizetype at = args.indexOf(name);
        const QString value = at >= 0 ? args.value(at + 1) : QString();
        if (at >= 0)
            args.remove(at, qMin(qsizetype(2), args.size() - at));
        return value;
    };
    if (const QString seconds = option(QStringLiteral("--quit-after")); !seconds.isEmpty())
        QTimer::singleShot(int(seconds.toDouble() * 1000), &app, &QApplication::quit);
    const QString screenshot = option(QStringLiteral("--screenshot"));
    QSplitter window;
    QObject::connect(&app, &QApplication::aboutToQuit, [&] {
        if (!screenshot.isEmpty())
            window.grab().save(screenshot);
    });
    Host host;
    host.tree = ObjectFactory::create(QStringLiteral("QXMIBTree.MIBTree"), &window);
    host.table = ObjectFactory::create(QStringLiteral("QXMIBTree.MIBTable"), &window);
    if (!host.tree || !host.table)
        return 1;
    window.addWidget(qobject_cast<QWidget *>(host.tree));
    window.addWidget(qobject_cast<QWidget *>(host.table));
    window.setSizes({350, 650});
    host.table->setProperty("Target", args.value(0, QStringLiteral("127.0.0.1")));
    host.table->setProperty("Community", QStringLiteral("public"));
    QObject::connect(host.tree, SIGNAL(OIDDoubleClick(QXMibOID *)), &host, SLOT(open()));
    QMetaObject::invokeMethod(host.tree, "Refresh");
    if (args.size() > 1)
        QMetaObject::invokeMethod(host.table, "GetTable", Q_ARG(QString, args.at(1)));
    window.resize(1100, 650);
    window.show();
    return app.exec();
}

#include "main.moc"
