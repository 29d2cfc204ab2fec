# Independent evaluation of every stage of every channel of a StationXML
# document with SciPy: poles and zeros with freqs_zpk / freqz_zpk,
# coefficients and FIR taps with freqs / freqz, response lists with NumPy's
# interpolation. Numbers the library keeps in single precision (poles, zeros,
# coefficients, gains, A0) are rounded to float32 first, as the library
# stores them. Prints "channel stage frequency real imaginary" per line
# (channel and stage counted from 0 in the library's order), or
# "channel stage skip" for a stage the peer does not evaluate.
import sys
import xml.etree.ElementTree as ET

import numpy as np
from scipy import signal


def local(tag):
    return tag.rsplit('}', 1)[-1]


def child(e, name):
    for c in e:
        if local(c.tag) == name:
            return c
    return None


def children(e, name):
    return [c for c in e if local(c.tag) == name]


def num(e, name, default=0.0):
    c = child(e, name) if e is not None else None
    return float(c.text) if c is not None and c.text else default


def f32(x):
    return float(np.float32(x))


def stage_response(stage, kind, f, rate):
    """(H without gain, input rate or None) for a stage; None when skipped."""
    dec = child(stage, 'Decimation')
    fs = num(dec, 'InputSampleRate') if dec is not None else rate
    if kind is None:
        return np.ones_like(f, dtype=complex)
    ttype = local(kind.tag)
    if ttype == 'PolesZeros':
        tf = child(kind, 'PzTransferFunctionType').text.strip()
        a0 = f32(num(kind, 'NormalizationFactor', 1.0))
        zeros = [complex(f32(num(z, 'Real')), f32(num(z, 'Imaginary'))) for z in children(kind, 'Zero')]
        poles = [complex(f32(num(p, 'Real')), f32(num(p, 'Imaginary'))) for p in children(kind, 'Pole')]
        if tf == 'LAPLACE (RADIANS/SECOND)':
            return signal.freqs_zpk(zeros, poles, a0, worN=2 * np.pi * f)[1]
        if tf == 'LAPLACE (HERTZ)':
            return signal.freqs_zpk(zeros, poles, a0, worN=f)[1]
        if not fs:
            return None
        return signal.freqz_zpk(zeros, poles, a0, worN=f, fs=fs)[1]
    if ttype == 'Coefficients':
        tf = child(kind, 'CfTransferFunctionType').text.strip()
        b = [f32(float(n.text)) for n in children(kind, 'Numerator')]
        a = [f32(float(d.text)) for d in children(kind, 'Denominator')]
        if not b and not a:
            return np.ones_like(f, dtype=complex)
        b = b or [1.0]
        if tf.startswith('ANALOG'):
            a = a or [1.0]
            w = 2 * np.pi * f if 'RADIANS' in tf else f
            return signal.freqs(b[::-1], a[::-1], worN=w)[1]
        if not fs:
            return None
        return signal.freqz(b, a or [1.0], worN=f, fs=fs)[1]
    if ttype == 'FIR':
        sym = child(kind, 'Symmetry')
        sym = sym.text.strip() if sym is not None and sym.text else 'NONE'
        h = [f32(float(n.text)) for n in children(kind, 'NumeratorCoefficient')]
        if sym == 'EVEN':
            h = h + h[::-1]
        elif sym == 'ODD':
            h = h + h[-2::-1]
        if not fs or not h:
            return None
        return signal.freqz(h, [1.0], worN=f, fs=fs)[1]
    if ttype == 'ResponseList':
        rows = sorted((num(e, 'Frequency'), num(e, 'Amplitude'), num(e, 'Phase'))
                      for e in children(kind, 'ResponseListElement'))
        lf = np.array([r[0] for r in rows])
        la = np.array([r[1] for r in rows])
        if len(rows) == 0 or np.any(lf <= 0) or np.any(la <= 0):
            return None
        ph = np.unwrap(np.radians([r[2] for r in rows]))
        amp = np.exp(np.interp(np.log(f), np.log(lf), np.log(la)))
        phase = np.interp(f, lf, ph)
        return amp * np.exp(1j * phase)
    return None


def main(path):
    root = ET.parse(path).getroot()
    index = 0
    out = []
    for net in children(root, 'Network'):
        for sta in children(net, 'Station'):
            for cha in children(sta, 'Channel'):
                rate = num(cha, 'SampleRate', 20.0)
                top = rate / 2 if 0 < rate < 1e6 else 10.0
                f = np.geomspace(1e-3 if top > 1e-3 else top / 100, top, 300)
                resp = child(cha, 'Response')
                stages = sorted(children(resp, 'Stage'), key=lambda s: int(s.get('number'))) if resp is not None else []
                running = None
                for s, stage in enumerate(stages):
                    kind = None
                    for name in ('PolesZeros', 'Coefficients', 'FIR', 'ResponseList', 'Polynomial'):
                        kind = kind if kind is not None else child(stage, name)
                    dec = child(stage, 'Decimation')
                    h = None
                    with np.errstate(all='ignore'):
                        try:
                            h = stage_response(stage, kind, f, running)
                        except (ValueError, ZeroDivisionError, AttributeError, TypeError):
                            h = None
                        if h is not None:
                            gain = child(stage, 'StageGain')
                            h = h * (f32(num(gain, 'Value')) if gain is not None else 1.0)
                    if dec is not None:
                        factor = num(dec, 'Factor')
                        running = num(dec, 'InputSampleRate') / factor if factor > 0 else None
                    if h is None:
                        out.append(f'{index} {s} skip')
                        continue
                    for fk, hk in zip(f, h):
                        out.append(f'{index} {s} {fk!r} {hk.real!r} {hk.imag!r}')
                index += 1
    print('\n'.join(out))




def correct(path, samples_path, rate, water_level, f1, f2, f3, f4):
    """Velocity from counts for the document's first channel, computed the
    way the library documents it, with SciPy's response and NumPy's FFT."""
    root = ET.parse(path).getroot()
    cha = root.find('.//{*}Channel')
    x = np.loadtxt(samples_path)
    n = len(x)
    i = np.arange(n)
    slope, intercept = np.polyfit(i, x, 1)
    x = x - (slope * i + intercept)
    taper = n // 20
    edge = np.minimum(i, n - 1 - i)
    w = np.where(edge < taper, 0.5 * (1 - np.cos(np.pi * edge / max(taper, 1))), 1.0)
    x = x * w
    length = int(sys.argv[10])
    spectrum = np.fft.rfft(x, length)
    f = np.arange(len(spectrum)) * rate / length
    h = np.ones(len(f), dtype=complex)
    running = None
    stages = sorted(children(child(cha, 'Response'), 'Stage'), key=lambda s: int(s.get('number')))
    for stage in stages:
        kind = None
        for name in ('PolesZeros', 'Coefficients', 'FIR', 'ResponseList'):
            kind = kind if kind is not None else child(stage, name)
        dec = child(stage, 'Decimation')
        with np.errstate(all='ignore'):
            hs = stage_response(stage, kind, f, running)
        gain = child(stage, 'StageGain')
        hs = hs * f32(num(gain, 'Value'))
        if dec is not None:
            hs = hs * np.exp(2j * np.pi * f * num(dec, 'Correction'))
            running = num(dec, 'InputSampleRate') / num(dec, 'Factor')
        h = h * hs
    used = f <= f4
    peak = np.max(np.abs(h[used]))
    floor = peak * 10 ** (-water_level / 20)
    amp = np.abs(h)
    h = np.where(amp < floor, h * floor / np.where(amp > 0, amp, 1), h)
    pre = np.zeros(len(f))
    pre[(f > f1) & (f < f2)] = 0.5 * (1 - np.cos(np.pi * (f[(f > f1) & (f < f2)] - f1) / (f2 - f1)))
    pre[(f >= f2) & (f <= f3)] = 1
    pre[(f > f3) & (f < f4)] = 0.5 * (1 + np.cos(np.pi * (f[(f > f3) & (f < f4)] - f3) / (f4 - f3)))
    out = np.where(used, spectrum / h * pre, 0)
    out[0] = 0
    y = np.fft.irfft(out, length)[:n]
    print('\n'.join(repr(v) for v in y))


if __name__ == '__main__':
    if sys.argv[1] == 'correct':
        correct(sys.argv[2], sys.argv[3], *map(float, sys.argv[4:10]))
    else:
        main(sys.argv[1])
