#!/usr/bin/env python3
"""Writes MIB-X files from the MIB modules that pysnmp carries compiled.

Debian's python3-pysnmp4 (its own SNMPv2 and SNMPv3 modules) and
python3-pysnmp4-mibs (about 270 IETF modules) hold the content of modules
whose MIB text Debian does not ship. This loads them through pysnmp's MIB
builder and writes one MODULE.mibx per module in the form `qxmib compile`
writes: numeric dotted OIDs, parents before children, SYNTAX "SEQUENCE" for
tables, the entry type's name for rows, "TRAP" for notifications, the
textual convention's name where an object uses one, else the base type's;
ACCESS, STATUS where the module states it, DESCRIPTION, ENUMS (also for
BITS), the module clauses, and under TYPES the textual conventions met.

With --text DIR it also writes SMIv2 text of each module, MODULE.txt, from
what the compiled form knows: textual conventions with their base types,
ranges, sizes, named numbers and display hints, object identifiers, objects
with their types, access, units and index lists. That text is for the MIB
compiler to find the module's types and names when a vendor's module imports
them; the descriptions are left out.

Usage: pysnmp2mibx.py [--pythonpath DIR]... [-o DIR] [--text DIR] [--skip MODULE]... [MODULE...]
Without MODULE arguments every module pysnmp finds is converted. Prints
"MODULE -> FILE" per file written, problems on stderr; exit status 1 when a
module could not be loaded or written.
"""

import argparse
import datetime
import os
import re
import sys
from xml.sax.saxutils import escape

# pysnmp's own helpers, not MIB modules of the IETF.
PRIVATE_MODULES = re.compile(r'^(ASN1|PYSNMP-|__)')
XML_NAME = re.compile(r'^[A-Za-z_][A-Za-z0-9_.-]*$')

# Base types: the name SYNTAX gives them, and for textual conventions refining
# them the root type and BER tag the Types table keeps.
BASE_TYPES = {
    ('ASN1', 'Integer'): ('INTEGER', 'INTEGER', 2),
    ('ASN1', 'OctetString'): ('OCTET STRING', 'OCTET STRING', 4),
    ('ASN1', 'ObjectIdentifier'): ('OBJECT IDENTIFIER', 'OBJECT IDENTIFIER', 6),
    ('SNMPv2-SMI', 'Integer32'): ('Integer32', 'INTEGER', 2),
    ('SNMPv2-SMI', 'Bits'): ('BITS', 'OCTET STRING', 4),
    ('SNMPv2-SMI', 'IpAddress'): ('IpAddress', 'IPADDRESS', 64),
    ('SNMPv2-SMI', 'Counter32'): ('Counter32', 'COUNTER32', 65),
    ('SNMPv2-SMI', 'Gauge32'): ('Gauge32', 'GAUGE32', 66),
    ('SNMPv2-SMI', 'Unsigned32'): ('Unsigned32', 'GAUGE32', 66),
    ('SNMPv2-SMI', 'TimeTicks'): ('TimeTicks', 'TIMETICKS', 67),
    ('SNMPv2-SMI', 'Opaque'): ('Opaque', 'OPAQUE', 68),
    ('SNMPv2-SMI', 'Counter64'): ('Counter64', 'COUNTER64', 70),
}

ACCESS = {
    'readonly': 'READ-ONLY',
    'readwrite': 'READ-WRITE',
    'readcreate': 'READ-CREATE',
    'writeonly': 'WRITE-ONLY',
    'noaccess': 'NOT-ACCESSIBLE',
    'notaccessible': 'NOT-ACCESSIBLE',
    'notifyonly': 'ACCESSIBLE-FOR-NOTIFY',
    'accessiblefornotify': 'ACCESSIBLE-FOR-NOTIFY',
}


def problem(text):
    print(text, file=sys.stderr)


def allow_named_bits():
    """Lets the modules compiled for older pyasn1 name their bits.

    They write Bits().subtype(namedValues=...), which pyasn1 0.4 refuses for
    octet strings; the named bits become a subclass as Bits.withNamedBits makes.
    """
    from pysnmp.proto import rfc1902
    original = rfc1902.Bits.subtype

    def subtype(self, **kwargs):
        named = kwargs.pop('namedValues', None)
        value = original(self, **kwargs) if kwargs else self
        if named is None:
            return value
        cls = type(value).withNamedBits(**dict(named.items()))
        return cls(subtypeSpec=value.subtypeSpec)

    rfc1902.Bits.subtype = subtype


class Converter:
    def __init__(self):
        from pysnmp.smi import builder
        allow_named_bits()
        self.builder = builder.MibBuilder()
        self.builder.loadTexts = True
        self.MibNode, self.MibScalar, self.MibTable, self.MibTableRow, self.NotificationType = \
            self.builder.importSymbols('SNMPv2-SMI', 'MibNode', 'MibScalar', 'MibTable', 'MibTableRow',
                                       'NotificationType')
        self.ObjectGroup, self.NotificationGroup, self.ModuleCompliance, self.AgentCapabilities = \
            self.builder.importSymbols('SNMPv2-CONF', 'ObjectGroup', 'NotificationGroup', 'ModuleCompliance',
                                       'AgentCapabilities')
        self.type_names = None

    def available_modules(self):
        names = set()
        for source in self.builder.getMibSources():
            for name in source.listdir():
                if not PRIVATE_MODULES.match(name):
                    names.add(name)
        return sorted(names)

    def load(self, module):
        from pysnmp.smi import error
        try:
            self.builder.loadModules(module)
            return True
        except error.MibLoadError as e:
            cause = str(e).split('caused by')[-1].strip()
            problem('%s: cannot be loaded through pysnmp: %s' % (module, cause[-300:]))
            return False

    # Types -------------------------------------------------------------

    def type_name_map(self):
        """Each type class any loaded module exports -> (module, name), the defining module first."""
        if self.type_names is None:
            from pyasn1.type.base import Asn1Item
            self.type_names = {}
            # SNMPv2-SMI before ASN1, whose Integer is the very class of Integer32.
            order = ['SNMPv2-SMI', 'ASN1', 'SNMPv2-TC']
            modules = order + sorted(m for m in self.builder.mibSymbols if m not in order)
            for module in modules:
                for name, obj in sorted(self.builder.mibSymbols.get(module, {}).items()):
                    if isinstance(obj, type) and issubclass(obj, Asn1Item):
                        self.type_names.setdefault(obj, (module, name))
        return self.type_names

    def named_chain(self, cls):
        """The named types a type class refines, nearest first, down to its base type."""
        chain = []
        for c in cls.__mro__:
            key = self.type_name_map().get(c)
            if key is not None and key not in chain:
                chain.append(key)
                if key in BASE_TYPES:
                    break
        return chain

    def syntax_name(self, syntax):
        for key in self.named_chain(type(syntax)):
            if key == ('SNMPv2-SMI', 'Integer32') and getattr(syntax, 'namedValues', None):
                return 'INTEGER'  # an enumeration: INTEGER { ... }
            return BASE_TYPES[key][0] if key in BASE_TYPES else key[1]
        return ''

    def convention(self, key):
        """(name, root, code) of a textual convention, or None for a base type."""
        if key in BASE_TYPES:
            return None
        cls = self.builder.mibSymbols[key[0]][key[1]]
        for base in self.named_chain(cls):
            if base in BASE_TYPES:
                return key[1], BASE_TYPES[base][1], BASE_TYPES[base][2]
        return None

    # Objects -----------------------------------------------------------

    def syntax_of(self, name, node):
        if isinstance(node, self.MibTable):
            return 'SEQUENCE'
        if isinstance(node, self.MibTableRow):
            return name[:1].upper() + name[1:]
        if isinstance(node, self.NotificationType):
            return 'TRAP'
        if isinstance(node, self.MibScalar) and node.syntax is not None:
            return self.syntax_name(node.syntax)
        return ''

    def access_of(self, node):
        if isinstance(node, (self.MibTable, self.MibTableRow, self.ObjectGroup, self.NotificationGroup,
                             self.ModuleCompliance, self.AgentCapabilities)):
            return 'NOT-ACCESSIBLE'
        if isinstance(node, self.MibScalar):
            # pysmi writes no access for a not-accessible column; pysnmp's default would read "readonly".
            access = vars(node).get('maxAccess', 'noaccess')
            return ACCESS.get(str(access).replace('-', '').lower(), '')
        return ''

    @staticmethod
    def status_of(node):
        # Only a status the module states: pysnmp's default "current" is no fact of the module.
        status = vars(node).get('status')
        return status.upper() if status else ''

    def enums_of(self, node):
        syntax = getattr(node, 'syntax', None)
        if not isinstance(node, self.MibScalar) or syntax is None:
            return []
        named = getattr(syntax, 'namedValues', None)
        if not named:
            return []
        # pysnmp's RowStatus knows notExists(0) for its own agent; the convention does not.
        items = [(label, value) for label, value in named.items()
                 if not (label == 'notExists' and self.syntax_name(syntax) == 'RowStatus')]
        if ('SNMPv2-SMI', 'Bits') in self.named_chain(type(syntax)):
            items.sort(key=lambda item: item[1])  # named bits come as a set
        return items

    def clauses_of(self, node):
        """INDEX of a row; UNITS and DISPLAY-HINT (the nearest type's) of an object."""
        if isinstance(node, self.MibTableRow):
            names = [name for _, _, name in node.getIndexNames()]
            return [('INDEX', ', '.join(names))] if names else []
        if not isinstance(node, self.MibScalar) or node.syntax is None:
            return []
        clauses = []
        units = node.getUnits() if hasattr(node, 'getUnits') else ''
        if units:
            clauses.append(('UNITS', units))
        for key in self.named_chain(type(node.syntax)):
            hint = getattr(self.builder.mibSymbols.get(key[0], {}).get(key[1]), 'displayHint', '')
            if hint:
                clauses.append(('DISPLAY-HINT', hint))
                break
        return clauses

    # Writing -----------------------------------------------------------

    def write(self, module, path, compiled):
        symbols = self.builder.mibSymbols[module]
        identity = symbols.get('PYSNMP_MODULE_ID')
        objects = []
        for name, obj in symbols.items():
            if name == 'PYSNMP_MODULE_ID' or not isinstance(obj, self.MibNode) or isinstance(obj, type):
                continue
            if type(obj).__name__.endswith('Instance') or not obj.name:
                continue
            if not XML_NAME.match(name):
                problem("%s: '%s' cannot be written as an element name; skipped" % (module, name))
                continue
            objects.append((tuple(obj.name), name, obj))
        objects.sort(key=lambda o: (o[0], o[1]))

        conventions = []
        seen = set()

        def meet(keys):
            for key in keys:
                if key not in seen:
                    seen.add(key)
                    c = self.convention(key)
                    if c is not None:
                        conventions.append(c)

        # The conventions the module defines, then those its objects use.
        meet(sorted(key for key in self.type_name_map().values() if key[0] == module))

        out = ['<?xml version="1.0" encoding="UTF-8"?>', '<MIBX>',
               ' <VERSION>Tarnbrookeware MIB-X 1.0</VERSION>',
               ' <COMPILED>%s</COMPILED>' % compiled, ' <MODULE>', '  <NAME>%s</NAME>' % escape(module)]
        if identity is not None:
            for tag, text in (('DESCRIPTION', identity.getDescription()),
                              ('CONTACT', identity.getContactInfo()),
                              ('ORGANIZATION', identity.getOrganization())):
                if text:
                    out.append('  <%s>%s</%s>' % (tag, escape(text), tag))
            updated = last_updated(identity)
            if updated:
                out.append('  <LAST-UPDATED>%s</LAST-UPDATED>' % updated)
        out.append(' </MODULE>')

        out.append(' <TREE>')
        for oid, name, node in objects:
            out.append('  <%s>' % name)
            out.append('   <OID>%s</OID>' % '.'.join(str(arc) for arc in oid))
            out.append('   <SYNTAX>%s</SYNTAX>' % escape(self.syntax_of(name, node)))
            # A module identity's description is the module's, written above.
            description = '' if node is identity else getattr(node, 'description', '')
            for tag, text in (('ACCESS', self.access_of(node)), ('STATUS', self.status_of(node)),
                              ('DESCRIPTION', description)):
                if text:
                    out.append('   <%s>%s</%s>' % (tag, escape(text), tag))
            # Beyond what the import reads: units, a row's index list, the display hint.
            for tag, text in self.clauses_of(node):
                out.append('   <%s>%s</%s>' % (tag, escape(text), tag))
            if isinstance(node, self.MibScalar) and node.syntax is not None:
                meet(self.named_chain(type(node.syntax)))
                enums = self.enums_of(node)
                if enums:
                    out.append('   <ENUMS>')
                    for label, value in enums:
                        if XML_NAME.match(label):
                            out.append('    <%s>%d</%s>' % (label, value, label))
                        else:
                            problem("%s: label '%s' of %s cannot be written as an element name; skipped"
                                    % (module, label, name))
                    out.append('   </ENUMS>')
            out.append('  </%s>' % name)
        out.append(' </TREE>')

        if conventions:
            out.append(' <TYPES>')
            for name, root, code in conventions:
                out += ['  <TYPE>', '   <NAME>%s</NAME>' % escape(name), '   <ROOT>%s</ROOT>' % root,
                        '   <CODE>%d</CODE>' % code, '  </TYPE>']
            out.append(' </TYPES>')
        else:
            out.append(' <TYPES/>')
        out.append('</MIBX>')

        tmp = path + '.new'
        with open(tmp, 'w', encoding='utf-8') as f:
            f.write('\n'.join(out) + '\n')
        os.replace(tmp, path)


# The full ranges of the base types: a refinement to these is none.
FULL_RANGES = {
    'Integer32': (-2147483648, 2147483647), 'INTEGER': (-2147483648, 2147483647),
    'Unsigned32': (0, 4294967295), 'Gauge32': (0, 4294967295), 'Counter32': (0, 4294967295),
    'TimeTicks': (0, 4294967295), 'Counter64': (0, 18446744073709551615),
}
SMI_IMPORTS = ['MODULE-IDENTITY', 'OBJECT-TYPE', 'NOTIFICATION-TYPE', 'Integer32', 'Unsigned32', 'Counter32',
               'Gauge32', 'Counter64', 'TimeTicks', 'IpAddress', 'Opaque']


def constraint_text(spec, size):
    """The narrowest range (or sizes) a pyasn1 constraint holds, as SMI writes it, or ''."""
    from pyasn1.type import constraint as c
    ranges = []
    alternatives = None

    # pyasn1's constraints keep their operands in _values.
    def walk(node):
        nonlocal alternatives
        if isinstance(node, c.ConstraintsIntersection):
            for child in node:
                walk(child)
        elif isinstance(node, c.ConstraintsUnion):
            alts = []
            for child in node:
                if isinstance(child, c.ValueSizeConstraint if size else c.ValueRangeConstraint):
                    alts.append(tuple(child._values))
                elif isinstance(child, c.SingleValueConstraint):
                    alts += [(v, v) for v in child._values]
            if alts:
                alternatives = alts
        elif isinstance(node, c.ValueSizeConstraint if size else c.ValueRangeConstraint):
            ranges.append(tuple(node._values))

    if spec is None:
        return ''
    walk(spec)
    if alternatives is None and not ranges:
        return ''
    if alternatives is None:
        alternatives = [(max(r[0] for r in ranges), min(r[1] for r in ranges))]
    text = ' | '.join(str(lo) if lo == hi else '%s..%s' % (lo, hi) for lo, hi in alternatives)
    return ' (SIZE (%s))' % text if size else ' (%s)' % text


def quoted(text):
    return '"%s"' % str(text or '').replace('"', "'")


class TextWriter:
    """SMIv2 text of one module, from pysnmp's compiled form."""

    def __init__(self, converter, module):
        self.c = converter
        self.module = module
        self.imports = {}

    def need(self, module, name):
        if module != self.module:
            self.imports.setdefault(module, set()).add(name)

    def base_of(self, cls):
        for key in self.c.named_chain(cls):
            if key in BASE_TYPES:
                return key
        return None

    def syntax_text(self, syntax, named_ok=True):
        """The SYNTAX of a type or an object: a named type where one is nearest, else the base with its refinements."""
        cls = type(syntax) if not isinstance(syntax, type) else syntax
        chain = self.c.named_chain(cls)
        if named_ok and chain and chain[0] not in BASE_TYPES and not PRIVATE_MODULES.match(chain[0][0]):
            self.need(*chain[0])
            return chain[0][1]
        base = self.base_of(cls)
        if base is None:
            return 'OCTET STRING'
        name = BASE_TYPES[base][0]
        if base[0] == 'SNMPv2-SMI' and name != 'BITS':
            self.need('SNMPv2-SMI', name)
        named = getattr(syntax, 'namedValues', None)
        if named and name in ('Integer32', 'INTEGER', 'BITS'):
            items = sorted(named.items(), key=lambda item: item[1])
            return '%s { %s }' % ('BITS' if name == 'BITS' else 'INTEGER',
                                  ', '.join('%s(%d)' % (label, value) for label, value in items))
        size = name in ('OCTET STRING', 'Opaque')
        refinement = constraint_text(getattr(syntax, 'subtypeSpec', None), size)
        if refinement and not size:
            full = FULL_RANGES.get(name)
            if full is not None and refinement == ' (%s..%s)' % full:
                refinement = ''
        if name == 'OCTET STRING' and refinement == ' (SIZE (0..65535))':
            refinement = ''
        return name + refinement

    def oid_value(self, oid):
        return '{ iso %s }' % ' '.join(str(arc) for arc in oid[1:])

    def write(self, path):
        TextualConvention, = self.c.builder.importSymbols('SNMPv2-TC', 'TextualConvention')
        symbols = self.c.builder.mibSymbols[self.module]
        body = []
        # Types the module defines.
        for name, cls in sorted(symbols.items()):
            if not isinstance(cls, type) or self.c.type_name_map().get(cls) != (self.module, name):
                continue
            syntax = self.syntax_text(cls(), named_ok=False) if self.base_of(cls) else None
            if syntax is None:
                continue
            if issubclass(cls, TextualConvention):
                self.need('SNMPv2-TC', 'TEXTUAL-CONVENTION')
                body.append('%s ::= TEXTUAL-CONVENTION' % name)
                if getattr(cls, 'displayHint', ''):
                    body.append('    DISPLAY-HINT %s' % quoted(cls.displayHint))
                body.append('    STATUS %s' % (getattr(cls, 'status', '') or 'current'))
                body.append('    DESCRIPTION ""')
                body.append('    SYNTAX %s\n' % syntax)
            else:
                body.append('%s ::= %s\n' % (name, syntax))

        objects = []
        for name, obj in symbols.items():
            if name == 'PYSNMP_MODULE_ID' or not isinstance(obj, self.c.MibNode) or isinstance(obj, type):
                continue
            if type(obj).__name__.endswith('Instance') or not obj.name or not XML_NAME.match(name):
                continue
            objects.append((tuple(obj.name), name, obj))
        objects.sort(key=lambda o: (o[0], o[1]))
        identity = symbols.get('PYSNMP_MODULE_ID')
        for oid, name, node in objects:
            status = (vars(node).get('status') or 'current').lower()
            if node is identity:
                self.need('SNMPv2-SMI', 'MODULE-IDENTITY')
                body.append('%s MODULE-IDENTITY\n    LAST-UPDATED "%s"\n    ORGANIZATION ""\n    CONTACT-INFO ""\n'
                            '    DESCRIPTION ""\n    ::= %s\n'
                            % (name, (getattr(node, 'getLastUpdated', lambda: '')() or '200001010000Z'), self.oid_value(oid)))
            elif isinstance(node, self.c.MibTable):
                entry = next((n for o, n, x in objects if o[:-1] == oid and isinstance(x, self.c.MibTableRow)), None)
                if entry is None:
                    continue
                body.append('%s OBJECT-TYPE\n    SYNTAX SEQUENCE OF %s\n    MAX-ACCESS not-accessible\n'
                            '    STATUS %s\n    DESCRIPTION ""\n    ::= %s\n'
                            % (name, entry[:1].upper() + entry[1:], status, self.oid_value(oid)))
            elif isinstance(node, self.c.MibTableRow):
                entry_type = name[:1].upper() + name[1:]
                index = []
                for implied, module, column in node.getIndexNames():
                    self.need(module, column)
                    index.append(('IMPLIED ' if implied else '') + column)
                clause = '    INDEX { %s }\n' % ', '.join(index) if index else ''
                body.append('%s OBJECT-TYPE\n    SYNTAX %s\n    MAX-ACCESS not-accessible\n    STATUS %s\n'
                            '    DESCRIPTION ""\n%s    ::= %s\n'
                            % (name, entry_type, status, clause, self.oid_value(oid)))
                columns = [(n, x) for o, n, x in objects if o[:-1] == oid and isinstance(x, self.c.MibScalar)]
                body.append('%s ::= SEQUENCE {\n%s\n}\n' % (entry_type, ',\n'.join(
                    '    %s %s' % (n, self.syntax_text(x.syntax).split(' {')[0].split(' (')[0]) for n, x in columns)))
            elif isinstance(node, self.c.MibScalar) and node.syntax is not None:
                access = self.c.access_of(node).lower() or 'read-only'
                units = getattr(node, 'getUnits', lambda: '')() or ''
                body.append('%s OBJECT-TYPE\n    SYNTAX %s\n%s    MAX-ACCESS %s\n    STATUS %s\n'
                            '    DESCRIPTION ""\n    ::= %s\n'
                            % (name, self.syntax_text(node.syntax),
                               '    UNITS %s\n' % quoted(units) if units else '', access, status,
                               self.oid_value(oid)))
            elif isinstance(node, self.c.NotificationType):
                self.need('SNMPv2-SMI', 'NOTIFICATION-TYPE')
                body.append('%s NOTIFICATION-TYPE\n    STATUS %s\n    DESCRIPTION ""\n    ::= %s\n'
                            % (name, status, self.oid_value(oid)))
            else:
                body.append('%s OBJECT IDENTIFIER ::= %s\n' % (name, self.oid_value(oid)))
        if any(' OBJECT-TYPE' in line for line in body):
            self.need('SNMPv2-SMI', 'OBJECT-TYPE')

        head = ['-- %s, written from the compiled form pysnmp carries: its types, object' % self.module,
                '-- identifiers and objects, without their descriptions.',
                '%s DEFINITIONS ::= BEGIN' % self.module, '']
        if self.imports:
            head.append('IMPORTS')
            for module in sorted(self.imports):
                head.append('    %s FROM %s' % (', '.join(sorted(self.imports[module])), module))
            head[-1] += ';'
            head.append('')
        tmp = path + '.new'
        with open(tmp, 'w', encoding='utf-8') as f:
            f.write('\n'.join(head + body) + '\nEND\n')
        os.replace(tmp, path)


def last_updated(identity):
    """The latest of LAST-UPDATED and the REVISION dates, as ISO date-time in UTC."""
    stamps = []
    for text in list(getattr(identity, 'revisions', ()) or ()) + [getattr(identity, 'lastUpdated', '') or '']:
        digits = re.sub(r'\D', '', str(text))
        if len(digits) == 10:  # two-digit year, SMIv2's old form
            digits = '19' + digits
        if len(digits) >= 12:
            stamps.append(digits[:12])
    if not stamps:
        return ''
    s = max(stamps)
    return '%s-%s-%sT%s:%s:00Z' % (s[0:4], s[4:6], s[6:8], s[8:10], s[10:12])


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n\n')[0])
    parser.add_argument('--pythonpath', action='append', default=[],
                        help='folder holding pysnmp, pysnmp_mibs and pyasn1 (searched first)')
    parser.add_argument('-o', '--output', default='.', help='folder for the MIB-X files')
    parser.add_argument('--text', help='folder for SMIv2 text of the modules (MODULE.txt)')
    parser.add_argument('--skip', action='append', default=[],
                        help='modules not to write (comma-separated, repeatable)')
    parser.add_argument('modules', nargs='*')
    args = parser.parse_args()
    sys.path[:0] = [os.path.abspath(p) for p in args.pythonpath]

    converter = Converter()
    skip = {m for s in args.skip for m in s.split(',') if m}
    modules = args.modules or converter.available_modules()
    os.makedirs(args.output, exist_ok=True)
    compiled = datetime.datetime.now().replace(microsecond=0).isoformat()
    wanted = [m for m in modules if m not in skip]
    loaded = [m for m in wanted if converter.load(m)]
    written = 0
    for module in loaded:
        path = os.path.join(args.output, module + '.mibx')
        try:
            converter.write(module, path, compiled)
            print('%s -> %s' % (module, path))
            if args.text:
                os.makedirs(args.text, exist_ok=True)
                TextWriter(converter, module).write(os.path.join(args.text, module + '.txt'))
            written += 1
        except (OSError, ValueError, TypeError, AttributeError) as e:
            problem('%s: cannot be written: %s' % (module, e))
    print('%d modules converted, %d failed, %d skipped' % (written, len(wanted) - written, len(modules) - len(wanted)))
    return 0 if written == len(wanted) else 1


if __name__ == '__main__':
    sys.exit(main())
