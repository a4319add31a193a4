"""The type library's source (idl/*.idl) as data: interfaces, event interfaces, enumerations and classes."""
import re
from dataclasses import dataclass, field
from pathlib import Path

TOKEN = re.compile(r'"(?:[^"\\]|\\.)*"|[A-Za-z_]\w*|-?0[xX][0-9A-Fa-f]+|-?\d[\w.]*|[^\s\w]')
NOISE = re.compile(r'"(?:[^"\\]|\\.)*"|//[^\n]*|/\*.*?\*/', re.S)
DEFINITION = re.compile(r'^[ \t]*#define[ \t]+(\w+)[ \t]+(.+)$', re.M)


class IdlError(Exception):
    """The source is not what this reader knows."""


@dataclass
class Parameter:
    name: str
    type: str
    directions: tuple  # of 'in', 'out', 'retval'

    @property
    def is_result(self):
        return 'retval' in self.directions

    @property
    def is_output(self):
        return 'out' in self.directions


@dataclass
class Method:
    name: str
    kind: str  # 'method', 'propget', 'propput', 'propputref'
    dispid: int
    help: str
    parameters: list


@dataclass
class Member:
    """What a script sees under one name: a method, or a property with its one or two accessors."""
    name: str
    methods: list

    @property
    def is_property(self):
        return self.methods[0].kind != 'method'

    @property
    def help(self):
        return self.methods[0].help


@dataclass
class Interface:
    name: str
    base: str
    iid: str
    events: bool
    source: str
    members: list

    def member(self, name):
        return next((member for member in self.members if member.name == name), None)


@dataclass
class Enumeration:
    name: str
    help: str
    source: str
    values: list  # (name, number, text as written)


@dataclass
class CoClass:
    name: str
    clsid: str
    creatable: bool
    interface: str
    others: list
    events: str


@dataclass
class Library:
    interfaces: dict = field(default_factory=dict)
    enumerations: dict = field(default_factory=dict)
    classes: dict = field(default_factory=dict)

    def line(self, name):
        """The interface and those it extends, the interface first."""
        found = []
        while name in self.interfaces:
            found.append(self.interfaces[name])
            name = self.interfaces[name].base
        return found


def tokens_of(text):
    """The tokens without comments and preprocessor lines; texts that were defined are put in."""
    text = NOISE.sub(lambda found: found[0] if found[0].startswith('"') else ' ', text)
    definitions = {name: value.strip() for name, value in DEFINITION.findall(text)}
    text = re.sub(r'^[ \t]*#.*$', '', text, flags=re.M)
    return [definitions.get(token, token) for token in TOKEN.findall(text)]


class Reader:
    """Reads one file of the library into it."""

    def __init__(self, library, source, text):
        self.library = library
        self.source = source
        self.tokens = tokens_of(text)
        self.at = 0

    def peek(self):
        return self.tokens[self.at] if self.at < len(self.tokens) else ''

    def take(self, wanted=None):
        token = self.peek()
        if not token or (wanted is not None and token != wanted):
            raise IdlError(f'{self.source}: {token or "the end"} where {wanted or "more"} was expected')
        self.at += 1
        return token

    def attributes(self):
        """Those in brackets, by name; what stands in parentheses behind a name is its text."""
        found = {}
        self.take('[')
        while self.peek() != ']':
            name = self.take()
            words, depth = [], 0
            while depth or self.peek() not in (',', ']'):
                token = self.take()
                depth += (token == '(') - (token == ')')
                words.append(token)
            found[name] = ''.join(words[1:-1])
            if self.peek() == ',':
                self.take()
        self.take(']')
        return found

    def read(self):
        attributes = {}
        while self.peek():
            token = self.peek()
            if token == '[':
                attributes = self.attributes()
            elif token == 'typedef':
                self.enumeration()
            elif token == 'interface' and attributes:
                self.interface(attributes)
                attributes = {}
            elif token == 'dispinterface' and attributes:
                self.event_interface(attributes)
                attributes = {}
            elif token == 'coclass':
                self.coclass(attributes)
                attributes = {}
            else:  # what opens and closes the library, imports, names declared ahead
                if token == 'library':
                    attributes = {}
                self.take()

    def enumeration(self):
        self.take('typedef')
        attributes = self.attributes()
        self.take('enum')
        name = self.take()
        self.take('{')
        values = []
        while self.peek() != '}':
            value = self.take()
            self.take('=')
            text = self.take()
            if text == '-':
                text += self.take()
            values.append((value, int(text, 0), text))
            if self.peek() == ',':
                self.take()
        self.take('}')
        self.take(name)
        self.library.enumerations[name] = Enumeration(name, unquoted(attributes.get('helpstring', '')), self.source, values)

    def interface(self, attributes):
        self.take('interface')
        name = self.take()
        self.take(':')
        base = self.take()
        self.take('{')
        self.add(Interface(name, base, attributes['uuid'], False, self.source, self.members()))

    def event_interface(self, attributes):
        self.take('dispinterface')
        name = self.take()
        for token in ('{', 'properties', ':', 'methods', ':'):
            self.take(token)
        self.add(Interface(name, '', attributes['uuid'], True, self.source, self.members()))

    def add(self, interface):
        if interface.name in self.library.interfaces:
            raise IdlError(f'{self.source}: {interface.name} is there twice')
        self.library.interfaces[interface.name] = interface

    def members(self):
        members = {}
        while self.peek() != '}':
            method = self.method()
            members.setdefault(method.name, Member(method.name, [])).methods.append(method)
        self.take('}')
        return list(members.values())

    def method(self):
        attributes = self.attributes()
        self.take('HRESULT')
        name = self.take()
        self.take('(')
        parameters = []
        while self.peek() != ')':
            parameters.append(self.parameter())
            if self.peek() == ',':
                self.take()
        self.take(')')
        self.take(';')
        kind = next((kind for kind in ('propget', 'propput', 'propputref') if kind in attributes), 'method')
        return Method(name, kind, int(attributes['id'], 0), unquoted(attributes.get('helpstring', '')), parameters)

    def parameter(self):
        directions = tuple(self.attributes())
        words, depth = [], 0
        while depth or self.peek() not in (',', ')'):
            token = self.take()
            depth += (token == '(') - (token == ')')
            words.append(token)
        type_ = ''
        for word in words[:-1]:
            type_ += ' ' + word if re.fullmatch(r'\w\w', type_[-1:] + word[0]) else word
        return Parameter(words[-1], type_, directions)

    def coclass(self, attributes):
        self.take('coclass')
        name = self.take()
        self.take('{')
        default, others, events = '', [], ''
        while self.peek() != '}':
            how = self.attributes() if self.peek() == '[' else {}
            self.take()  # interface or dispinterface
            interface = self.take()
            self.take(';')
            if 'source' in how:
                events = interface
            elif 'default' in how:
                default = interface
            else:
                others.append(interface)
        self.take('}')
        self.library.classes[name] = CoClass(name, attributes['uuid'], 'noncreatable' not in attributes, default, others,
                                             events)


def unquoted(text):
    return ''.join(re.findall(r'"((?:[^"\\]|\\.)*)"', text)).replace('\\"', '"')


def read_library(folder):
    library = Library()
    for path in sorted(Path(folder).glob('*.idl')):
        Reader(library, path.stem, path.read_text(encoding='utf-8')).read()
    if not library.interfaces or not library.classes:
        raise IdlError(f'{folder}: no library')
    return library
