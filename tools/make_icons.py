#!/usr/bin/env python3
"""Draws the map icons under Bitmaps/ as SVG: one family per PE symbol name, in a known and an
unknown variant (the unknown one carries a question mark badge), each normal and selected, plus the
group and off-view handle icons.

Run from the repository root:  python3 tools/make_icons.py
"""

import os

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
OUT = os.path.join(ROOT, 'Bitmaps')
SIZE = 48

COLOURS = {'sw': '#2f6db5', 'ep': '#2e8b57', 'br': '#b5712f', 'mem': '#7a4fb0', 'unkwn': '#7f7f7f',
           'null': '#b0b0b0', 'grp': '#4a6f8a', 'ovh': '#8a8a4a'}


def body(kind, memory):
    c = COLOURS[kind]
    if kind == 'sw':
        shape = ('<rect x="6" y="10" width="36" height="28" rx="4" fill="%s" stroke="#1b1b1b" stroke-width="1.5"/>'
                 '<path d="M12 19h20l-4-4M36 29H16l4 4" fill="none" stroke="#ffffff" stroke-width="2.5" '
                 'stroke-linecap="round" stroke-linejoin="round"/>' % c)
    elif kind == 'ep':
        shape = ('<circle cx="24" cy="24" r="17" fill="%s" stroke="#1b1b1b" stroke-width="1.5"/>'
                 '<rect x="17" y="17" width="14" height="14" rx="2" fill="none" stroke="#ffffff" stroke-width="2.5"/>'
                 % c)
    elif kind == 'br':
        shape = ('<polygon points="14,8 34,8 44,24 34,40 14,40 4,24" fill="%s" stroke="#1b1b1b" stroke-width="1.5"/>'
                 '<path d="M13 24h22M29 18l6 6-6 6" fill="none" stroke="#ffffff" stroke-width="2.5" '
                 'stroke-linecap="round" stroke-linejoin="round"/>' % c)
    elif kind == 'mem':
        shape = ('<rect x="10" y="8" width="28" height="32" rx="2" fill="%s" stroke="#1b1b1b" stroke-width="1.5"/>'
                 '<path d="M16 15h16M16 21h16M16 27h16M16 33h16" stroke="#ffffff" stroke-width="2"/>' % c)
    elif kind == 'null':
        shape = ('<circle cx="24" cy="24" r="15" fill="none" stroke="%s" stroke-width="2.5" stroke-dasharray="4 3"/>'
                 % c)
    else:
        shape = ('<circle cx="24" cy="24" r="17" fill="%s" stroke="#1b1b1b" stroke-width="1.5"/>'
                 '<text x="24" y="31" font-family="sans-serif" font-size="20" font-weight="bold" fill="#ffffff" '
                 'text-anchor="middle">?</text>' % c)
    if memory:
        shape += ('<rect x="30" y="30" width="14" height="14" rx="1" fill="%s" stroke="#1b1b1b" stroke-width="1"/>'
                  '<path d="M33 34h8M33 37h8M33 40h8" stroke="#ffffff" stroke-width="1.2"/>' % COLOURS['mem'])
    return shape


def svg(content, selected, unknown):
    parts = ['<svg xmlns="http://www.w3.org/2000/svg" width="%d" height="%d" viewBox="0 0 48 48">' % (SIZE, SIZE)]
    if selected:
        parts.append('<rect x="1" y="1" width="46" height="46" rx="6" fill="#ffe680" stroke="#d4a000" '
                     'stroke-width="2"/>')
    parts.append(content)
    if unknown:
        parts.append('<circle cx="39" cy="9" r="7" fill="#ffffff" stroke="#c03030" stroke-width="1.5"/>'
                     '<text x="39" y="13" font-family="sans-serif" font-size="11" font-weight="bold" '
                     'fill="#c03030" text-anchor="middle">?</text>')
    parts.append('</svg>')
    return ''.join(parts) + '\n'


def write(name, text):
    with open(os.path.join(OUT, name), 'w', encoding='utf-8', newline='\n') as out:
        out.write(text)


def main():
    os.makedirs(OUT, exist_ok=True)
    families = {'sw-reg': ('sw', False), 'sw-mem': ('sw', True), 'ep-reg': ('ep', False), 'ep-mem': ('ep', True),
                'br-reg': ('br', False), 'br-mem': ('br', True), 'mem-reg': ('mem', False),
                'unkwn-reg': ('unkwn', False), 'null-reg': ('null', False)}
    for name, (kind, memory) in families.items():
        for suffix, unknown in (('-kwn', False), ('-unkwn', True)):
            for state, selected in (('nosel', False), ('sel', True)):
                write('%s%s-lrg-%s.svg' % (name, suffix, state), svg(body(kind, memory), selected, unknown))
    group = ('<rect x="4" y="12" width="22" height="18" rx="3" fill="%s" stroke="#1b1b1b" stroke-width="1.2"/>'
             '<rect x="14" y="20" width="22" height="18" rx="3" fill="%s" stroke="#1b1b1b" stroke-width="1.2"/>'
             '<rect x="22" y="6" width="22" height="18" rx="3" fill="%s" stroke="#1b1b1b" stroke-width="1.2"/>'
             % (COLOURS['grp'], COLOURS['grp'], COLOURS['grp']))
    handle = ('<circle cx="20" cy="24" r="9" fill="%s" stroke="#1b1b1b" stroke-width="1.5"/>'
              '<path d="M29 24h14M37 18l6 6-6 6" fill="none" stroke="#1b1b1b" stroke-width="2.5" '
              'stroke-linecap="round" stroke-linejoin="round"/>' % COLOURS['ovh'])
    for state, selected in (('nosel', False), ('sel', True)):
        write('grp-1-lrg-%s.svg' % state, svg(group, selected, False))
        write('ovh-1-lrg-%s.svg' % state, svg(handle, selected, False))


if __name__ == '__main__':
    main()
