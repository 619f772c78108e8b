"""What the companion modules answer in a script."""
import struct

from judge.settings import (DnsAnswer, DnsCache, IdsRule, IdsRules, Parental, Plain, Profile, SavedSession,
                            SavedSessions, Site, SiteList, SiteRule, UrlList)

from . import names


def some(rng, make, most, least=0):
    return tuple(make(rng) for _ in range(rng.randint(least, most)))


def wide(rng, units):
    """A text of UTF-16 units, at times one that fills its field."""
    count = rng.choice((0, 1, 5, units - 1, units)) if rng.random() < 0.3 else rng.randint(0, min(20, units))
    return ''.join(rng.choice('abcXYZ \u00e9\u0416') for _ in range(count)).encode('utf-16-le')


def threat_site(rng):
    paths = tuple((rng.choice((b'Bad.Threat', b'n' * 49, b'n' * 50, b'', b'Other')), rng.choice(names.PATHS))
                  for _ in range(rng.randint(0, 3)))
    return Site(names.near(rng, names.host(rng)).lower(), rng.choice((0, 1, 1)), paths)


def phishing_site(rng):
    paths = tuple(rng.choice(names.PATHS[1:]) for _ in range(rng.randint(0, 3)))
    return Site(names.near(rng, names.host(rng)).lower(), rng.choice((0, 1, 1)), paths)


def rule_address(rng):
    record = names.address(rng)
    return record if record[0] == 1 else b'\0' + record[1:5][::-1] + bytes(12)


def site_rule(rng):
    return SiteRule(names.near(rng, names.host(rng))[:256], rng.choice(names.PATHS), rng.choice((0, 1, 1, 2)),
                    rng.choice((1, 1, 2, 3, 4)), rng.choice((0, 0, 1, 1, 2)), some(rng, rule_address, 2))


def time_range(rng):
    if rng.random() < 0.08:
        return rng.choice(((24, 0, 25, 0), (10, 60, 11, 0), (10, 0, 9, 0), (5, 5, 5, 5), (1, 0, 2, 60)))
    first, last = sorted((rng.randrange(1439), rng.randrange(1, 1440)))
    if rng.random() < 0.4:
        first, last = rng.choice(((0, 1439), (720, 780), (0, 720), (721, 1439), (600, 720)))
    if first == last:
        last += 1
    return first // 60, first % 60, last // 60, last % 60


def schedule(rng):
    way = rng.randrange(12)
    if way == 0:
        return ((),) * 7
    if way == 1:
        return (((0, 0, 0, 1),),) + ((),) * 6
    return tuple(some(rng, time_range, 3) for _ in range(7))


def other_sid(rng):
    return b'\1\2' + bytes((0, 0, 0, 0, 0, 5)) + struct.pack('<II', 21, rng.randrange(4))


def profile(rng, own_sid):
    grid = bytes(168) if rng.random() < 0.3 else bytes(rng.choice((0, 1)) for _ in range(168))
    return Profile(
        sid=own_sid if rng.random() < 0.6 else other_sid(rng), profile_switch=rng.choice((0, 1, 1, 1, 2)),
        block_list_switch=rng.choice((0, 1, 1, 2)), category_switch=rng.choice((0, 1, 1, 2)),
        schedule_switch=rng.choice((0, 0, 0, 1)), schedule_suspended=rng.choice((0, 0, 0, 1)),
        controlled=rng.choice((0, 1, 1, 1)), exempt=rng.choice((0, 0, 0, 1, 2)), schedule_mode=rng.choice((0, 1, 2)),
        grid=grid, allowance=tuple(rng.choice((0, 1, 1, 2, 24)) for _ in range(7)), schedule=schedule(rng),
        blocked_categories=tuple(rng.sample(names.NUMBERS, rng.randint(0, 4))),
        rules=some(rng, site_rule, 4) if rng.random() < 0.6 else (),
        allowed=some(rng, names.user_url, 2) if rng.random() < 0.4 else (),
        schedule_allowed=some(rng, names.user_url, 3))


def parental(rng, own_sid):
    mode = rng.choice((0, 1, 1, 1, 1, 2, 2, 3))
    profiles = tuple(profile(rng, own_sid) for _ in range(rng.randint(0, 1) if rng.random() < 0.2 else
                                                          rng.randint(1, 3)))
    return Parental(mode, bytes((31, 32)), rng.choice((0, 0, 1, 2, 3, 4)), profiles,
                    rng.randint(0, len(profiles)) if rng.random() < 0.1 else -1)


def ids_rule(rng):
    return IdsRule(rng.randrange(6), rng.choice((0, 0, 1, 2)), wide(rng, 50), wide(rng, 150), wide(rng, 400),
                   rng.choice(((), (), (50,), (61,), (100, 61), (52, 60, 62, 63))))


def dns_cache(rng):
    answers = tuple(DnsAnswer(names.near(rng, names.host(rng))[:256], (names.address(rng), names.address(rng)),
                              rng.choice((0, 1, 2, 3))) for _ in range(rng.randint(0, 4)))
    count = rng.choice((len(answers), len(answers), 0, 3001))
    return DnsCache(count if count <= 3000 else 3001, rng.choice((len(answers), 0, 3000, 3001, 2)),
                    answers if count <= 3000 else ())


def saved_session(rng):
    updated = rng.choice((0, -5, 1772582400, 1772625600, 1772668800))
    return SavedSession(other_sid(rng), rng.randrange(100), names.host(rng).decode().encode('utf-16-le'), updated,
                        rng.choice((0, 59, 60, 119, 120)), rng.choice((0, 1)))


def packet_verdict(rng):
    record = bytearray(rng.randrange(256) for _ in range(40)) + bytes(1191)
    struct.pack_into('<II', record, 0, rng.choice((0, 0, 0, 1, 2, 3, 4, 7)), rng.choice((4, 5, 20, 77)))
    return Plain(bytes(record))


def categories(rng):
    """The numbers of every site from now on, and how many there are."""
    numbers = [rng.choice(names.NUMBERS) for _ in range(rng.choice((0, 0, 1, 2, 3, 4, 8)))]
    return {'categories': Plain(struct.pack('<8H', *numbers, *(0,) * (8 - len(numbers)))),
            'categoryCount': Plain(struct.pack('<H', len(numbers)))}


def all_answers(rng, own_sid):
    """Answers of every field, most of them with something in it."""
    def flag(chance):
        return Plain(bytes((1 if rng.random() < chance else 0,)))
    chosen = {
        'bpStatus': flag(0.6), 'apStatus': flag(0.6), 'cloudStatus': flag(0.8), 'agentStatus': flag(0.3),
        'idsIpsStatus': Plain(bytes((rng.choice((0, 1, 1, 2)), 0, 0))), 'malicious': flag(0.6),
        'idsIpsSettings': Plain(bytes((1, 0, rng.randrange(4), 0)) + bytes(87)) if rng.random() < 0.8 else
        Plain(bytes(91)),
        'bpPrompt': Plain(bytes((3, 4))), 'apPrompt': Plain(bytes((5, 6))), 'httpsBlock': flag(0.5),
        'bpSettings': SiteList(True, some(rng, threat_site, 4)),
        'apSettings': SiteList(False, some(rng, phishing_site, 4)),
        'bpUserWhiteList': UrlList(some(rng, names.listed_url, 6)),
        'bpInternalWhiteList': UrlList(some(rng, names.listed_url, 2)),
        'wsInternalWhiteList': UrlList(some(rng, names.listed_url, 2) if rng.random() < 0.5 else ()),
        'idsSettings': IdsRules(some(rng, ids_rule, 6), rng.randrange(2)), 'pcSettings': parental(rng, own_sid),
        'dnsCache': dns_cache(rng), 'packetVerdict': packet_verdict(rng), 'keepsSessions': flag(0.5),
        'systemControl': SavedSessions(some(rng, saved_session, 3)),
        'disabledFeatures': Plain(bytes(5) + bytes((rng.choice((0, 1)), 0, 0, rng.choice((0, 1)))) + bytes(55)),
        'serverAddress': Plain('Manage.example'.encode('utf-16-le').ljust(520, b'\0')),
    }
    return chosen | categories(rng)
