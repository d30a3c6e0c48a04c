#pragma once

class FixtureDatabase;

// The SNMP tables the live views are tried on, as a fixture database holds
// them: the whole ifTable and ipAddrTable (on top of addStandardObjects()),
// hrSWRunTable, hrSWInstalledTable, laTable, dskTable and tcpConnTable, with
// their enumerations.
namespace LiveTables {
void add(FixtureDatabase &db);
}
