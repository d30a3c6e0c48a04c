#include <QtTest>
class tst_commonfunctions : public QObject { Q_OBJECT };
QTEST_GUILESS_MAIN(tst_commonfunctions)
#include "tst_commonfunctions.moc"
