#include <QtTest>
class tst_oidtypes : public QObject { Q_OBJECT };
QTEST_GUILESS_MAIN(tst_oidtypes)
#include "tst_oidtypes.moc"
