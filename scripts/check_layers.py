#!/usr/bin/env python3
"""Every include in the product is an arrow that its target declares, and no arrow leads up.

A target is named by its folder. It declares the modules whose headers it includes by itself, as DEPS or in
target_link_libraries; each of these comes earlier in the order of layers: the modules of sdk/ as CMakeLists.txt lists
them, then the tools, the server's frame and the folders of wrapper classes.
"""
import re
from pathlib import Path

layers = {name: f'sdk/{name}' for names in re.findall(r'(?:set\(|APPEND )modules ([^)]*)', Path('CMakeLists.txt').read_text())
          for name in names.split()}
layers |= {'trace_option': 'tools/trace_option', 'softcam_camera': 'tools/softcam', 'softlink_device': 'tools/softlink', 'diagnosis': 'tools/diagnosis', 'pvctl': 'tools/pvctl', 'vex_server_frame': 'server'}
layers |= {f'wrappers_{folder}': folder for folder in ('buffers', 'persistence', 'genicam', 'devices', 'streaming', 'serial', 'gui')}
order = list(layers)
wrong = [f'{path.parent}: no layer' for path in Path('sdk').glob('*/CMakeLists.txt') if str(path.parent) not in layers.values()]
for target, folder in layers.items():
    lists = re.findall(r'(?:DEPS|target_link_libraries\()([^)]*)', Path(folder, 'CMakeLists.txt').read_text())
    declared = set(re.findall(r'\w+', ' '.join(lists))) & set(order) | set(
        ['vex_server_frame'] if target.startswith('wrappers_') else [])
    wrong += [f'{folder}: {name} is not below {target}' for name in declared if order.index(name) > order.index(target)]
    for source in sorted(path for path in Path(folder).rglob('*') if path.suffix in ('.h', '.cpp')):
        for header in re.findall(r'^#include "(.+)/[^/]+"', source.read_text(), re.M):
            needed = next((name for name in order if f'{header}/'.startswith(f'{layers[name]}/')), target)
            if needed != target and needed not in declared:
                wrong.append(f'{source}: {target} does not declare {needed} ({header})')
print('\n'.join(wrong) or f'   {len(layers)} layers: every include is declared')
raise SystemExit(bool(wrong))
