#include "app/key_reader.h"

#include <charconv>
#include <utility>

#include "app/utf8.h"

namespace Quarn {

namespace {

constexpr std::string_view PasteBegin = "\033[200~";
constexpr std::string_view PasteEnd = "\033[201~";
constexpr Key None = U'\0';

bool IsControl(Key key) { return key < U' '; }
bool IsEvent(Key key) { return key == Resized || key == Continued; }

/// The key of a cursor sequence, `isModified` by Ctrl or Alt.
Key KeyOfLetter(Key letter, bool isModified) {
    switch (letter) {
    case U'A': return Up;
    case U'B': return Down;
    case U'C': return isModified ? WordRight : Right;
    case U'D': return isModified ? WordLeft : Left;
    case U'H': return Home;
    case U'F': return End;
    default: return None;
    }
}

Key KeyOfNumber(std::string_view number) {
    if (number == "1" || number == "7") return Home;
    if (number == "4" || number == "8") return End;
    if (number == "3") return Delete;
    if (number == "5") return PageUp;
    if (number == "6") return PageDown;
    if (number == "200") return Paste;
    return None;
}

/// The key of a control sequence by its parameters, "1;5" for one, and its last character.
Key KeyOfSequence(std::string_view parameters, Key last, bool hasAlt) {
    const std::size_t separator = parameters.find(';');
    const std::string_view modifiers = separator == std::string_view::npos ? "" : parameters.substr(separator + 1);
    if (last == U'~') return modifiers.empty() ? KeyOfNumber(parameters) : None;
    const std::string_view shift = "2";
    const std::string_view applied = modifiers.empty() && parameters != "1" ? parameters : modifiers;
    return applied == shift ? None : KeyOfLetter(last, hasAlt || !applied.empty());
}

/// Takes the first answer to `AskColumn` out of the bytes.
std::optional<std::size_t> TakeColumn(std::string& bytes) {
    for (std::size_t begin = bytes.find("\033["); begin != std::string::npos; begin = bytes.find("\033[", begin + 1)) {
        const std::size_t separator = bytes.find_first_not_of("0123456789", begin + 2);
        if (separator == std::string::npos || bytes[separator] != ';') continue;
        std::size_t column = 0;
        const char* const end = bytes.data() + bytes.size();
        const auto parsed = std::from_chars(bytes.data() + separator + 1, end, column);
        if (parsed.ptr == end || *parsed.ptr != 'R' || column == 0) continue;
        bytes.erase(begin, static_cast<std::size_t>(parsed.ptr + 1 - bytes.data()) - begin);
        return column - 1;
    }
    return std::nullopt;
}

} // namespace

bool KeyReader::Read(Key& key) {
    if (std::exchange(m_hasContinued, false)) {
        key = Continued;
        return true;
    }
    if (m_isPasting) {
        key = Paste;
        return true;
    }
    do {
        if (!ReadTyped(key)) return false;
        if (key == Escape && !ReadBehindEscape(key)) return false;
    } while (key == None);
    m_isPasting = key == Paste;
    return true;
}

/// Reads a character, or what happens before there is one.
bool KeyReader::ReadTyped(Key& key) {
    for (;;) {
        std::string_view unread = Unread();
        if (TakeCharacter(unread, key)) {
            SetUnread(unread);
            return true;
        }
        switch (ReadMore()) {
        case Terminal::Event::Input: break;
        case Terminal::Event::Interrupt: key = Ctrl('C'); return true;
        case Terminal::Event::Resized: key = Resized; return true;
        case Terminal::Event::Continued: key = Continued; return true;
        case Terminal::Event::EndOfFile:
        case Terminal::Event::Gone: return false;
        }
    }
}

/// What Escape and the keys behind it are. A control character ends whatever it interrupts, so Ctrl-C always works.
bool KeyReader::ReadBehindEscape(Key& key) {
    constexpr int Pause = 50; // milliseconds; a terminal sends a sequence at once
    if (!ReadTyped(key)) return false;
    const bool isTwice = key == Escape;
    if (isTwice && !ReadTyped(key)) return false;
    const bool isSequence = (key == U'[' || key == U'O') && (!Unread().empty() || m_terminal.HasInput(Pause));
    if (isSequence) return key == U'[' ? ReadSequence(isTwice, key) : ReadLetter(isTwice, key);
    if (!IsControl(key) && !IsEvent(key)) key = Alt(key);
    return true;
}

bool KeyReader::ReadLetter(bool hasAlt, Key& key) {
    if (!ReadTyped(key)) return false;
    if (!IsControl(key) && !IsEvent(key)) key = KeyOfLetter(key, hasAlt);
    return true;
}

bool KeyReader::ReadSequence(bool hasAlt, Key& key) {
    std::string parameters;
    while (ReadTyped(key)) {
        if (IsControl(key) || key > Backspace) return true;
        if (key == U'[' && parameters.empty()) { // a function key of a Linux console
            if (!ReadTyped(key)) return false;
            if (!IsControl(key) && !IsEvent(key)) key = None;
            return true;
        }
        if (key >= U'@') {
            key = KeyOfSequence(parameters, key, hasAlt);
            return true;
        }
        parameters += static_cast<char>(key);
    }
    return false;
}

Terminal::Event KeyReader::ReadMore() {
    m_bytes.erase(0, m_read);
    m_read = 0;
    return m_terminal.Read(m_bytes);
}

KeyReader::Pasted KeyReader::ReadPasted() {
    Pasted pasted;
    char32_t character = 0;
    while (ReadPasted(character, pasted.isInterrupted)) {
        const bool isRestOfLineEnd = character == U'\n' && m_lastPasted == U'\r';
        m_lastPasted = character;
        if (m_isDroppingPaste || isRestOfLineEnd || character == U'\0') continue;
        if (character == U'\r' || character == U'\n') {
            pasted.endsLine = true;
            return pasted;
        }
        pasted.text += character == U'\t' ? U' ' : character;
    }
    m_isPasting = m_isDroppingPaste = false;
    m_lastPasted = U'\0';
    return pasted;
}

/// False where the pasted text ends. Ctrl-C ends it too, with what has come of it: its end may never come.
bool KeyReader::ReadPasted(char32_t& character, bool& isInterrupted) {
    for (;;) {
        std::string_view unread = Unread();
        if (unread.starts_with(PasteEnd)) {
            SetUnread(unread.substr(PasteEnd.size()));
            return false;
        }
        if (!PasteEnd.starts_with(unread) && TakeCharacter(unread, character)) {
            SetUnread(unread);
            isInterrupted = character == Ctrl('C');
            if (isInterrupted) DropPasted();
            return !isInterrupted;
        }
        const Terminal::Event event = ReadMore();
        if (event == Terminal::Event::Continued) m_hasContinued = true;
        isInterrupted = event == Terminal::Event::Interrupt;
        if (isInterrupted) DropPasted();
        if (isInterrupted || event == Terminal::Event::EndOfFile || event == Terminal::Event::Gone) return false;
    }
}

/// Drops what has come of the pasted text, up to its end.
void KeyReader::DropPasted() {
    constexpr int Pause = 20; // milliseconds
    while (Unread().find(PasteEnd) == std::string_view::npos && m_terminal.HasInput(Pause))
        if (m_terminal.Read(m_bytes) == Terminal::Event::Gone) break;
    const std::size_t end = Unread().find(PasteEnd);
    SetUnread(end == std::string_view::npos ? std::string_view() : Unread().substr(end + PasteEnd.size()));
}

void KeyReader::Drop() {
    if (!m_isPasting) {
        while (m_terminal.HasInput(0) && ReadMore() == Terminal::Event::Input) {
        }
        const std::size_t begin = Unread().rfind(PasteBegin);
        if (begin == std::string_view::npos) return SetUnread({});
        SetUnread(Unread().substr(begin + PasteBegin.size()));
        m_isPasting = true;
    }
    m_isDroppingPaste = true; // the rest may still be on its way
}

std::optional<std::size_t> KeyReader::AskColumn() {
    constexpr int Patience = 100; // milliseconds
    m_bytes.erase(0, m_read);
    m_read = 0;
    m_terminal.Write("\033[6n");
    std::optional<std::size_t> column = TakeColumn(m_bytes);
    while (!column && m_terminal.HasInput(Patience)) {
        const Terminal::Event event = m_terminal.Read(m_bytes);
        if (event != Terminal::Event::Input && event != Terminal::Event::Resized) break; // `Read` finds it again
        column = TakeColumn(m_bytes);
    }
    return column;
}

} // namespace Quarn
