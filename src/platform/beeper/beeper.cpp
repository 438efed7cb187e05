#include "beeper.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTimer>
#include <QtDebug>

#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace {

// The pitch of the instrument's warning tone.
constexpr int toneHz = 1000;

Beeper *s_processBeeper = nullptr;

bool hasBit(const unsigned char *bits, int bit)
{
    return bits[bit / CHAR_BIT] & (1u << (bit % CHAR_BIT));
}

} // namespace

void Beeper::beepInMs(int ms)
{
    if (!s_processBeeper) {
        static Beeper systemBeeper(QStringLiteral("/dev/input"));
        s_processBeeper = &systemBeeper;
    }
    s_processBeeper->beep(ms);
}

void Beeper::setProcessBeeper(Beeper *beeper)
{
    s_processBeeper = beeper;
}

Beeper::Beeper(const QString &deviceDirectory, QObject *parent)
    : QObject(parent)
{
    findDevice(deviceDirectory);
}

Beeper::Beeper(const QString &devicePath, int fd, Sound sound)
    : m_devicePath(devicePath)
    , m_fd(fd)
    , m_sound(sound)
{}

std::unique_ptr<Beeper> Beeper::forToneDevice(const QString &eventFile)
{
    // Non-blocking: a beep must never hold up the user interface.
    const int fd =
        ::open(QFile::encodeName(eventFile).constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        qWarning("Cannot open %s for tones: %s", qPrintable(eventFile), strerror(errno));
    return std::unique_ptr<Beeper>(new Beeper(eventFile, fd, fd < 0 ? Sound::None : Sound::Tone));
}

Beeper::~Beeper()
{
    if (m_fd >= 0) {
        if (m_toneNumber)
            writeSound(0);
        ::close(m_fd);
    }
}

void Beeper::findDevice(const QString &deviceDirectory)
{
    const QDir directory(deviceDirectory);
    const QStringList names =
        directory.entryList({QStringLiteral("event*")}, QDir::System | QDir::Files, QDir::Name);
    for (const QString &name : names) {
        const QString path = directory.filePath(name);
        const int fd =
            ::open(QFile::encodeName(path).constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0)
            continue;
        unsigned char events[(EV_MAX + CHAR_BIT) / CHAR_BIT] = {};
        unsigned char sounds[(SND_MAX + CHAR_BIT) / CHAR_BIT] = {};
        if (ioctl(fd, EVIOCGBIT(0, sizeof(events)), events) >= 0 && hasBit(events, EV_SND) &&
            ioctl(fd, EVIOCGBIT(EV_SND, sizeof(sounds)), sounds) >= 0) {
            const Sound sound = hasBit(sounds, SND_TONE)   ? Sound::Tone
                                : hasBit(sounds, SND_BELL) ? Sound::Bell
                                                           : Sound::None;
            if (sound != Sound::None) {
                m_devicePath = path;
                m_fd = fd;
                m_sound = sound;
                return;
            }
        }
        ::close(fd);
    }
}

void Beeper::beep(int ms)
{
    if (m_fd < 0) {
        if (!m_fallbackReported) {
            qDebug("No input device plays tones; beeping through the desktop instead");
            m_fallbackReported = true;
        }
        QApplication::beep();
        return;
    }
    const unsigned tone = ++m_toneNumber;
    writeSound(m_sound == Sound::Tone ? toneHz : 1);
    QTimer::singleShot(qMax(0, ms), this, [this, tone] {
        if (tone == m_toneNumber)
            writeSound(0);
    });
}

void Beeper::writeSound(int value)
{
    input_event events[2] = {};
    events[0].type = EV_SND;
    events[0].code = m_sound == Sound::Bell ? SND_BELL : SND_TONE;
    events[0].value = value;
    events[1].type = EV_SYN;
    events[1].code = SYN_REPORT;
    // A full pipe or a device gone away only costs this one tone.
    if (::write(m_fd, events, sizeof(events)) < 0)
        qDebug("Beeper %s: %s", qPrintable(m_devicePath), strerror(errno));
}
