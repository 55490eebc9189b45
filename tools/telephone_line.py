"""What happens to speech on its way through rooms and telephone lines, and what is heard there besides: for
compose_calls.py. Signals are arrays of numbers in [-32768, 32767]; every choice comes from the random numbers handed in.
"""

import ctypes
import ctypes.util

import numpy

RATE = 8000
TWELFTH = 2.0 ** (1.0 / 12.0)


def draw(random, count):
    """What as many calls of random.bits would give, at once."""
    step = 0x9E3779B97F4A7C15
    z = numpy.uint64(random.state) + numpy.uint64(step) * numpy.arange(1, count + 1, dtype=numpy.uint64)
    random.state = (random.state + step * count) & random.MASK
    z = (z ^ (z >> numpy.uint64(30))) * numpy.uint64(0xBF58476D1CE4E5B9)
    z = (z ^ (z >> numpy.uint64(27))) * numpy.uint64(0x94D049BB133111EB)
    return z ^ (z >> numpy.uint64(31))


def uniform(random, count):
    """That many numbers in [0, 1)."""
    return (draw(random, count) >> numpy.uint64(11)) / float(1 << 53)


def white(random, count):
    """Bell-shaped noise of power 1: sums of four numbers."""
    return (uniform(random, 4 * count).reshape(4, count).sum(axis=0) - 2.0) * 3.0 ** 0.5


def power(samples):
    return float(numpy.mean(samples * samples)) if len(samples) else 0.0


def shaped(samples, gain):
    """Filtered by gain(frequencies in Hz): the whole at once, as if it went round."""
    spectrum = numpy.fft.rfft(samples)
    return numpy.fft.irfft(spectrum * gain(numpy.fft.rfftfreq(len(samples), 1.0 / RATE)), len(samples))


def falling(samples, slope, corner=40.0):
    """Power falling with the frequency to that exponent, from a corner in Hz on."""
    return shaped(samples, lambda f: (f > 10.0) * numpy.maximum(f, corner) ** (-slope / 2.0))


def swelling(random, count, seconds, decibels):
    """Gains that wander between their values every so many seconds."""
    knots = numpy.arange(0, count + 2 * seconds * RATE, seconds * RATE)
    levels = (uniform(random, len(knots)) - 0.5) * 2.0 * decibels
    return 10.0 ** (numpy.interp(numpy.arange(count), knots, levels) / 20.0)


def street(random, count):
    """Noise that comes and goes, as traffic does."""
    return falling(white(random, count), 1.2) * swelling(random, count, random.uniform(0.5, 2.5), 9.0)


def note(frequency, count, harmonics, decay):
    """A plucked or held note: harmonics that fade, the higher the faster."""
    time = numpy.arange(count) / RATE
    samples = numpy.zeros(count)
    for number, level in enumerate(harmonics, 1):
        if frequency * number < 0.45 * RATE:
            samples += level * numpy.exp(-decay * number ** 0.5 * time) * numpy.sin(
                2.0 * numpy.pi * frequency * number * time)
    edge = min(count // 4, RATE // 100)
    samples[:edge] *= numpy.arange(edge) / edge
    samples[count - edge:] *= numpy.arange(edge)[::-1] / edge
    return samples


def music(random, count):
    """A piece of music: chords of a few notes over a bass, a melody and sometimes drums, all made of oscillators."""
    beat = int(random.uniform(0.25, 0.7) * RATE)
    tonic = 110.0 * TWELFTH ** random.below(12)
    scale = random.pick(((0, 2, 4, 5, 7, 9, 11), (0, 2, 3, 5, 7, 8, 10), (0, 2, 4, 7, 9, 12, 14)))
    instruments = [([random.uniform(0.1, 1.0) / n ** random.uniform(0.5, 2.0) for n in range(1, 9)],
                    random.pick((0.3, 1.0, 3.0, 8.0))) for _ in range(3)]
    drums, chords, melody = random.below(2), random.uniform(0.2, 1.0), random.uniform(0.0, 1.0)
    whole = numpy.zeros(count + 8 * beat)

    def play(instrument, degree, octave, start, beats, level):
        frequency = tonic * 2.0 ** octave * TWELFTH ** scale[degree % 7]
        length = int(beats * beat)
        whole[start:start + length] += level * note(frequency, length, *instruments[instrument])

    root = 0
    for number, start in enumerate(range(0, count, beat)):
        if number % 4 == 0:
            root = random.pick((0, 3, 4, 5, 1))
            for third in (0, 2, 4):
                play(0, root + third, 1, start, 4, chords)
        if number % 2 == 0:
            play(1, root, 0, start, 2, 1.0)
        for half in range(1 + random.below(2)):
            if melody > 0.3:
                play(2, root + random.below(7), 2, start + half * beat // 2, 0.5 + random.below(3) / 2.0, melody)
        if drums:
            length = beat // 3
            hit = white(random, length) * numpy.exp(-numpy.arange(length) / (0.03 * RATE))
            whole[start:start + length] += random.uniform(0.3, 1.5) * hit
    return whole[:count] * swelling(random, count, 4, 3.0)


def babble(random, count, prompts, voices=6):
    """Several prompts at once, over and over."""
    whole = numpy.zeros(count)
    for _ in range(voices):
        at = -random.below(2 * RATE)
        while at < count:
            samples = numpy.asarray(random.pick(prompts).samples, dtype=float)
            first = max(0, -at)
            part = samples[first:first + count - max(at, 0)]
            whole[max(at, 0):max(at, 0) + len(part)] += part * random.uniform(0.3, 1.0)
            at += len(samples) + random.below(RATE)
    return whole


def background(random, kind, count, prompts):
    """Noise of a kind that make_noise of compose_calls.py has not; its power is of no concern."""
    if kind == "pink":
        return falling(white(random, count), 1.0)
    if kind == "brown":
        return falling(white(random, count), 2.0)
    if kind == "street":
        return street(random, count)
    if kind == "music":
        return music(random, count)
    return babble(random, count, prompts)


def burst(random, count):
    """Noise as of wind, breath, steps or a fax machine: of any colour and width, steady or swelling."""
    low = random.uniform(0.0, 2500.0)
    high = min(4000.0, low + random.uniform(300.0, 4000.0))
    samples = falling(white(random, count), random.uniform(-0.5, 2.5))
    if random.below(2):
        samples = shaped(samples, lambda f: 1.0 * ((f >= low) & (f <= high)))
    if random.below(2):
        samples = samples * swelling(random, count, random.uniform(0.02, 0.6), 12.0)
    edge = min(count // 2, int(random.uniform(0.002, 0.2) * RATE))
    samples[:edge] *= numpy.arange(edge) / edge
    samples[count - edge:] *= numpy.arange(edge)[::-1] / edge
    return samples


def sound(random, kind):
    """Some seconds of music, or a burst of noise."""
    if kind == "music":
        return music(random, int(random.uniform(2.0, 10.0) * RATE))
    return burst(random, int(random.uniform(0.1, 3.0) * RATE))


# What a line or a room does to a call.

def add_hum(random, samples, reference):
    """Mains of 50 or 60 Hz with harmonics, 0 to 30 dB below a reference power."""
    mains, time = random.pick((50.0, 60.0)), numpy.arange(len(samples)) / RATE
    hum = numpy.zeros(len(samples))
    for number in range(1, 12):
        level = random.uniform(0.0, 1.0) / number ** random.uniform(0.3, 1.5)
        hum += level * numpy.sin(2.0 * numpy.pi * (mains * number * time + random.uniform(0.0, 1.0)))
    return samples + scaled_to(hum, reference, random.uniform(0.0, 30.0))


def add_rumble(random, samples, reference):
    """Noise below some 150 Hz, -5 to 20 dB below a reference power: handling, wind, traffic."""
    corner = random.uniform(60.0, 200.0)
    rumble = shaped(white(random, len(samples)), lambda f: (f > 5.0) / (1.0 + (f / corner) ** 6))
    rumble = rumble * swelling(random, len(samples), random.uniform(0.3, 2.0), 8.0)
    return samples + scaled_to(rumble, reference, random.uniform(-5.0, 20.0))


def scaled_to(samples, reference, below):
    return samples * (reference / max(power(samples), 1e-9) / 10.0 ** (below / 10.0)) ** 0.5


def add_clicks(random, samples, reference):
    """Clicks of a line: a few each second, of a millisecond or less, up to 30 dB above a reference power."""
    samples = samples.copy()
    at = 0
    every = random.uniform(0.1, 3.0)
    while True:
        at += int(random.uniform(0.1, 2.0) * every * RATE)
        length = 1 + random.below(RATE // 500)
        if at + length >= len(samples):
            return samples
        level = (reference * 10.0 ** (random.uniform(0.0, 30.0) / 10.0)) ** 0.5
        samples[at:at + length] += level * (uniform(random, length) - 0.5) * 2.0 * numpy.exp(
            -numpy.arange(length) / (length / 3.0))


def add_room(random, samples):
    """Echoes of a room: reverberation of 0.15 to 0.7 s, the direct sound -6 to 12 dB above it."""
    length = int(random.uniform(0.15, 0.7) * RATE)
    tail = white(random, length) * numpy.exp(-6.9 * numpy.arange(length) / length)
    tail[:RATE // 250] = 0.0
    tail *= (10.0 ** (-random.uniform(-6.0, 12.0) / 10.0) / max(float(tail @ tail), 1e-9)) ** 0.5
    tail[0] = 1.0
    size = 1 << (len(samples) + length).bit_length()
    echoed = numpy.fft.irfft(numpy.fft.rfft(samples, size) * numpy.fft.rfft(tail, size), size)[:len(samples)]
    return echoed / float(tail @ tail) ** 0.5


def telephone_band(random, samples):
    """About 300 to 3400 Hz, with the slopes of a real line."""
    low, high = random.uniform(150.0, 350.0), random.uniform(3100.0, 3700.0)
    slope = random.pick((4.0, 8.0, 16.0))
    return shaped(samples, lambda f: 1.0 / ((1.0 + (low / numpy.maximum(f, 1.0)) ** slope)
                                            * (1.0 + (f / high) ** (3.0 * slope))) ** 0.5)


# Codecs, there and back, of samples that are whole numbers.

def mulaw(samples):
    """ITU-T G.711, mu-law."""
    magnitude = numpy.minimum(numpy.abs(samples >> 2), 8158) + 33
    segment = numpy.floor(numpy.log2(magnitude)).astype(int) - 5
    code = magnitude >> (segment + 1)
    decoded = (((2 * code + 1) << segment) - 33) << 2
    return numpy.where(samples < 0, -decoded, decoded)


def alaw(samples):
    """ITU-T G.711, A-law."""
    magnitude = numpy.minimum(numpy.where(samples < 0, ~samples, samples) >> 3, 4095)
    shift = numpy.maximum(numpy.floor(numpy.log2(numpy.maximum(magnitude, 1))).astype(int) - 4, 1)
    decoded = ((magnitude >> shift) << shift) + (1 << (shift - 1))
    return numpy.where(samples < 0, -decoded, decoded) << 3


def gsm(samples):
    """GSM 06.10 full rate, by the library that libsndfile brings along."""
    library = ctypes.CDLL(ctypes.util.find_library("gsm") or "libgsm.so.1")
    library.gsm_create.restype = ctypes.c_void_p
    handles = [ctypes.c_void_p(library.gsm_create()) for _ in range(2)]
    padded = numpy.zeros(-(-len(samples) // 160) * 160, dtype=numpy.int16)
    padded[:len(samples)] = samples
    frame = ctypes.create_string_buffer(33)
    for at in range(0, len(padded), 160):
        window = padded[at:at + 160].ctypes.data_as(ctypes.c_void_p)
        library.gsm_encode(handles[0], window, frame)
        library.gsm_decode(handles[1], frame, window)
    for handle in handles:
        library.gsm_destroy(handle)
    return padded[:len(samples)].astype(int)


CODECS = {"pcm": lambda samples: samples, "alaw": alaw, "mulaw": mulaw, "gsm": gsm}


def by_chance(random, share):
    return share > 0.0 and random.uniform(0.0, 1.0) < share


def add_room_by_chance(random, call, options):
    if by_chance(random, options.room):
        call.samples = add_room(random, numpy.asarray(call.samples)).tolist()


def deliver(random, call, options):
    """What the line does to a call with its noise: disturbances, its band, its level, its codec."""
    samples = numpy.asarray(call.samples)
    reference = call.voice_power(call.samples)
    for share, add in ((options.hum, add_hum), (options.rumble, add_rumble), (options.clicks, add_clicks)):
        if by_chance(random, share):
            samples = add(random, samples, reference)
    if by_chance(random, options.band):
        samples = telephone_band(random, samples)
    if options.level != "":
        peak = max(numpy.abs(samples[start:stop]).max() for start, stop, label in call.intervals if label == "VOICE")
        samples = samples * (32768.0 * 10.0 ** (random.uniform(*options.level) / 20.0) / max(peak, 1.0))
    samples = numpy.clip(numpy.rint(samples), -32768, 32767).astype(int)
    call.samples = CODECS[random.pick(options.codec)](samples).tolist()
