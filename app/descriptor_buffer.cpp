#include "app/descriptor_buffer.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace Quarn {

namespace {

/// Whether what has just failed may succeed later; waits until then.
bool CanTryAgain(int descriptor, short event) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd waited{descriptor, event, 0};
    return poll(&waited, 1, -1) >= 0 || errno == EINTR;
}

} // namespace

bool WriteAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
        else if (written == 0 || !CanTryAgain(descriptor, POLLOUT)) return false;
    }
    return true;
}

DescriptorBuffer::int_type DescriptorBuffer::underflow() {
    ssize_t count = 0;
    do count = read(m_descriptor, m_buffer.data(), m_buffer.size());
    while (count < 0 && CanTryAgain(m_descriptor, POLLIN));
    if (count <= 0) return traits_type::eof();
    setg(m_buffer.data(), m_buffer.data(), m_buffer.data() + count);
    return traits_type::to_int_type(m_buffer.front());
}

DescriptorBuffer::int_type DescriptorBuffer::overflow(int_type character) {
    if (sync() != 0) return traits_type::eof();
    setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
    return traits_type::eq_int_type(character, traits_type::eof()) ? 0 : sputc(traits_type::to_char_type(character));
}

/// A text that does not fit into the buffer is written without a copy.
std::streamsize DescriptorBuffer::xsputn(const char* text, std::streamsize size) {
    const std::string_view whole(text, static_cast<std::size_t>(size));
    if (epptr() - pptr() >= size || whole.size() < m_buffer.size()) return std::streambuf::xsputn(text, size);
    return sync() == 0 && WriteAll(m_descriptor, whole) ? size : 0;
}

int DescriptorBuffer::sync() {
    const std::string_view written(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    setp(pbase(), epptr()); // what cannot be written is lost
    return WriteAll(m_descriptor, written) ? 0 : -1;
}

} // namespace Quarn
