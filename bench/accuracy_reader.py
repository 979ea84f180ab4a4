#!/usr/bin/env python3
"""An independent reader of this host's figures, for bench/accuracy.sh.

It shares no code with the server: it finds the root's disk by stat("/"),
counts processes with os.listdir, and also asks df, free and vmstat.

  accuracy_reader.py sample OUT SECONDS   sample the host every 50 ms (and run df, free
                                          and vmstat every second) into OUT, JSON lines
  accuracy_reader.py load SECONDS DIR     disk traffic in DIR (about 20 MB/s written and
                                          read back) and loopback traffic (about 1 MB/s)
  accuracy_reader.py compare DIR          print the server's and the provider's figures
                                          beside the independent ones; DIR holds
                                          model.json, samples.jsonl, provider.jsonl
"""
import json
import os
import socket
import subprocess
import sys
import threading
import time


def since_midnight(t=None):
    t = time.time() if t is None else t
    lt = time.localtime(t)
    return lt.tm_hour * 3600 + lt.tm_min * 60 + lt.tm_sec + (t - int(t))


def read(path):
    with open(path) as f:
        return f.read()


def root_disk():
    st = os.stat('/')
    major, minor = os.major(st.st_dev), os.minor(st.st_dev)
    if major == 0:
        return None
    for line in read('/proc/diskstats').splitlines():
        f = line.split()
        if int(f[0]) == major and int(f[1]) == minor:
            return f[2]
    return None


def sample_once(disk):
    s = {'t': since_midnight()}
    cpu = read('/proc/stat').splitlines()[0].split()
    s['cpu'] = [int(x) for x in cpu[1:9]]
    mem = {}
    for line in read('/proc/meminfo').splitlines():
        k, v = line.split(':', 1)
        mem[k] = int(v.split()[0]) * 1024
    s['avail'] = mem.get('MemAvailable')
    s['committed'] = mem.get('Committed_AS')
    if disk:
        for line in read('/proc/diskstats').splitlines():
            f = line.split()
            if f[2] == disk:
                s['disk'] = [int(f[5]), int(f[9])]  # sectors read, sectors written
    s['procs'] = sum(1 for n in os.listdir('/proc') if n.isdigit())
    s['uptime'] = float(read('/proc/uptime').split()[0])
    net = {}
    for name in os.listdir('/sys/class/net'):
        base = '/sys/class/net/%s/statistics/' % name
        if os.path.isdir(base):
            net[name] = [int(read(base + 'rx_bytes')), int(read(base + 'tx_bytes'))]
    s['net'] = net
    return s


def tools_once():
    t = since_midnight()
    df = subprocess.run(['df', '-B1', '--output=avail,size', '/'], capture_output=True,
                        text=True).stdout.split('\n')[1].split()
    free = subprocess.run(['free', '-b'], capture_output=True, text=True).stdout.splitlines()
    header = free[0].split()
    mem = free[1].split()
    avail = int(mem[1 + header.index('available')]) if 'available' in header else None
    return {'t': t, 'df_avail': int(df[0]), 'df_size': int(df[1]), 'free_avail': avail}


def sample(out, seconds):
    disk = root_disk()
    records = []
    vmstat = subprocess.Popen(['vmstat', '-n', '1'], stdout=subprocess.PIPE, text=True)

    def follow():
        for line in vmstat.stdout:
            f = line.split()
            if f and f[0].isdigit():
                # columns: r b swpd free buff cache si so bi bo in cs us sy id wa st
                records.append({'t': since_midnight(), 'vmstat': [int(x) for x in f[12:17]]})

    threading.Thread(target=follow, daemon=True).start()
    end = time.monotonic() + seconds
    last_second = None
    while time.monotonic() < end:
        records.append(sample_once(disk))
        now = int(time.time())
        if now != last_second:
            last_second = now
            records.append(tools_once())
        time.sleep(0.05)
    vmstat.terminate()
    vmstat.wait()
    with open(out, 'w') as f:
        for r in records:
            f.write(json.dumps(r) + '\n')


def load(seconds, folder):
    end = time.monotonic() + seconds
    receiver = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    receiver.bind(('127.0.0.1', 0))
    receiver.setblocking(False)
    sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    block = os.urandom(1 << 20)
    path = os.path.join(folder, 'load.bin')
    fd = os.open(path, os.O_RDWR | os.O_CREAT | os.O_TRUNC, 0o600)
    offset = 0
    while time.monotonic() < end:
        os.pwrite(fd, block, offset)
        os.fsync(fd)
        os.posix_fadvise(fd, offset, len(block), os.POSIX_FADV_DONTNEED)
        os.pread(fd, len(block), offset)  # from the disk again
        offset = (offset + len(block)) % (64 << 20)
        for _ in range(50):
            sender.sendto(block[:1000], receiver.getsockname())
            try:
                while True:
                    receiver.recv(2048)
            except BlockingIOError:
                pass
        time.sleep(0.05)
    os.close(fd)
    os.unlink(path)


# ---------------------------------------------------------------------------

def interp(samples, key, t, index=None):
    """The value of a cumulative figure at time t, by linear interpolation."""
    def value(s):
        v = s.get(key)
        if v is None:
            return None
        return v[index] if index is not None else v
    pts = [(s['t'], value(s)) for s in samples if value(s) is not None]
    for (t0, v0), (t1, v1) in zip(pts, pts[1:]):
        if t0 <= t <= t1:
            return v0 + (v1 - v0) * (t - t0) / (t1 - t0) if t1 > t0 else v0
    return None


def nearest(samples, key, t):
    pts = [s for s in samples if s.get(key) is not None]
    if not pts:
        return None
    return min(pts, key=lambda s: abs(s['t'] - t))[key]


def busy_percent(samples, t0, t1):
    a = [interp(samples, 'cpu', t0, i) for i in range(8)]
    b = [interp(samples, 'cpu', t1, i) for i in range(8)]
    if None in a or None in b:
        return None
    total = sum(b) - sum(a)
    idle = (b[3] + b[4]) - (a[3] + a[4])
    return 100 * (total - idle) / total if total > 0 else None


def rate(samples, key, t0, t1, index=None, scale=1.0):
    a, b = interp(samples, key, t0, index), interp(samples, key, t1, index)
    if a is None or b is None or t1 <= t0:
        return None
    return (b - a) * scale / (t1 - t0)


def uptime_text(x):
    """The server's up-time text, made the same way."""
    text = ''
    if x >= 86400:
        text += '%d Days - ' % (int(x // 86400) % 60)
    if x >= 3600:
        text += '%d Hrs - ' % (int(x // 3600) % 60)
    if x >= 60:
        text += '%d Min - ' % (int(x // 60) % 60)
    return text + '%02d Sec' % round(x % 60)


def text_seconds(text):
    total, units = 0, {'Days': 86400, 'Hrs': 3600, 'Min': 60, 'Sec': 1}
    for part in text.split(' - '):
        number, unit = part.split()
        total += int(number) * units[unit]
    return total


def row(name, server, independent, source, unit=''):
    if server is None or independent is None:
        print('%-28s %16s %16s %14s  %s' % (name, server, independent, 'n/a', source))
        return
    print('%-28s %16.2f %16.2f %14.2f  %s %s' % (name, server, independent, server - independent,
                                                   source, unit))


def compare(folder):
    model = json.load(open(os.path.join(folder, 'model.json')))
    samples = [json.loads(l) for l in open(os.path.join(folder, 'samples.jsonl'))]
    host = [s for s in samples if 'cpu' in s]
    tools = [s for s in samples if 'df_avail' in s]
    vm = [s for s in samples if 'vmstat' in s]
    provider = [json.loads(l) for l in open(os.path.join(folder, 'provider.jsonl'))]

    t = float(model['CycleStart'])
    print('The server\'s last cycle at %.2f s past midnight (its rates span the second before).'
          % t)
    print()
    print('%-28s %16s %16s %14s  %s' % ('figure', 'server', 'independent', 'difference',
                                         'independent source'))
    row('processor use %', float(model['CPUUsage']), busy_percent(host, t - 1, t),
        '/proc/stat (python)')
    v = [s['vmstat'] for s in vm if abs(s['t'] - t) < 0.6]
    if v:
        us, sy, idle, wa, st = v[0]
        row('processor use % (vmstat)', float(model['CPUUsage']), 100 - idle - wa,
            'vmstat, its nearest second')
    row('available memory MB', model['MemAvailable'] / 1e6, nearest(host, 'avail', t) / 1e6,
        '/proc/meminfo (python)')
    fa = nearest(tools, 'free_avail', t)
    row('available memory MB (free)', model['MemAvailable'] / 1e6,
        fa / 1e6 if fa else None, 'free -b, nearest second')
    row('committed memory MB', model['MemCommitted'] / 1e6, nearest(host, 'committed', t) / 1e6,
        '/proc/meminfo (python)')
    row('free disk MB', model['DiskFreeMB'], nearest(tools, 'df_avail', t) / 1048576,
        'df, nearest second')
    df_pct = None
    near = min(tools, key=lambda s: abs(s['t'] - t)) if tools else None
    if near:
        df_pct = near['df_avail'] / near['df_size'] * 100
    row('free disk %', model['DiskFreePercent'], df_pct, 'df avail / size')
    row('disk read bytes/s', model['DiskReadBps'], rate(host, 'disk', t - 1, t, 0, 512),
        '/proc/diskstats of stat("/")')
    row('disk write bytes/s', model['DiskWriteBps'], rate(host, 'disk', t - 1, t, 1, 512),
        '/proc/diskstats of stat("/")')
    row('processes', model['ProcessCount'], nearest(host, 'procs', t), 'os.listdir("/proc")')
    up = interp(host, 'uptime', t)
    print('%-28s %16s %16s %14s  %s' % ('up time', model['UpTimeText'], uptime_text(up),
                                         text_seconds(model['UpTimeText']) -
                                         text_seconds(uptime_text(up)), '/proc/uptime, in s'))
    print()
    print('Per second through the provider (tarnex-counter-read), %d collections:' %
          len(provider))
    print('%-44s %12s %14s %12s %12s' % ('counter', 'mean', 'indep. mean', 'mean |diff|',
                                         'max |diff|'))
    series = {}
    for prev, cur in zip(provider, provider[1:]):
        t0, t1 = prev['t'], cur['t']
        for path, value in cur['values'].items():
            p = path.lower()
            ind = None
            if p.endswith('% processor time'):
                ind = busy_percent(host, t0, t1)
            elif p.endswith('available bytes'):
                ind = nearest(host, 'avail', t1)
            elif p.endswith('committed bytes'):
                ind = nearest(host, 'committed', t1)
            elif p.endswith('free megabytes'):
                ind = nearest(tools, 'df_avail', t1)
                ind = ind / 1048576 if ind is not None else None
            elif p.endswith('disk read bytes/sec'):
                ind = rate(host, 'disk', t0, t1, 0, 512)
            elif p.endswith('disk write bytes/sec'):
                ind = rate(host, 'disk', t0, t1, 1, 512)
            elif p.endswith('\\processes'):
                ind = nearest(host, 'procs', t1)
            elif p.endswith('system up time'):
                ind = interp(host, 'uptime', t1)
            elif 'network interface(' in p:
                name = path[path.index('(') + 1:path.index(')')].replace('Network Adapter ', '')
                idx = 0 if p.endswith('received/sec') else 1
                key = [s for s in host if name in s['net']]
                ind = rate([{'t': s['t'], 'b': s['net'][name]} for s in key], 'b', t0, t1, idx)
            if ind is not None:
                series.setdefault(path, []).append((value, ind))
    for path, pairs in series.items():
        n = len(pairs)
        diffs = [abs(a - b) for a, b in pairs]
        label = path.replace('\\Network Interface(Network Adapter ', '\\Net(')
        print('%-44s %12.1f %14.1f %12.2f %12.2f' % (
            label, sum(a for a, _ in pairs) / n, sum(b for _, b in pairs) / n,
            sum(diffs) / n, max(diffs)))


if __name__ == '__main__':
    if len(sys.argv) == 4 and sys.argv[1] == 'sample':
        sample(sys.argv[2], float(sys.argv[3]))
    elif len(sys.argv) == 4 and sys.argv[1] == 'load':
        load(float(sys.argv[2]), sys.argv[3])
    elif len(sys.argv) == 3 and sys.argv[1] == 'compare':
        compare(sys.argv[2])
    else:
        print(__doc__)
        sys.exit(2)
