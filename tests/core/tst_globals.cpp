#include <QtTest>
class tst_globals : public QObject { Q_OBJECT };
QTEST_GUILESS_MAIN(tst_globals)
#include "tst_globals.moc"
