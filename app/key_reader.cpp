#include "app/key_reader.h"

#include "app/wide_text.h"

namespace Quarn {

namespace {

constexpr std::string_view PasteBegin = "\033[200~";
constexpr std::string_view PasteEnd = "\033[201~";

bool IsControl(wchar_t key) { return key < L' '; }

/// The key of a cursor sequence, `isModified` by Ctrl or Alt; '\0' for none.
wchar_t KeyOfLetter(wchar_t letter, bool isModified) {
    switch (letter) {
    case L'A': return Up;
    case L'B': return Down;
    case L'C': return isModified ? WordRight : Right;
    case L'D': return isModified ? WordLeft : Left;
    case L'H': return Home;
    case L'F': return End;
    default: return L'\0';
    }
}

wchar_t KeyOfNumber(std::string_view number) {
    if (number == "1" || number == "7") return Home;
    if (number == "4" || number == "8") return End;
    if (number == "3") return DeleteForward;
    if (number == "5") return PageUp;
    if (number == "6") return PageDown;
    if (number == "200") return MoreToPaste;
    return L'\0';
}

/// The key of a control sequence by its parameters, "1;5" for one, and its last character; '\0' for none.
wchar_t KeyOfSequence(std::string_view parameters, wchar_t last, bool hasAlt) {
    const std::size_t separator = parameters.find(';');
    const std::string_view modifiers = separator == std::string_view::npos ? "" : parameters.substr(separator + 1);
    if (last == L'~') return modifiers.empty() ? KeyOfNumber(parameters) : L'\0';
    const std::string_view shift = "2";
    const std::string_view applied = modifiers.empty() && parameters != "1" ? parameters : modifiers;
    return applied == shift ? L'\0' : KeyOfLetter(last, hasAlt || !applied.empty());
}

} // namespace

bool KeyReader::Read(wchar_t& key) {
    ++m_count;
    if (!m_pushed.empty()) {
        key = m_pushed.front();
        m_pushed.erase(0, 1);
        return true;
    }
    if (m_isPasting) {
        key = MoreToPaste;
        return true;
    }
    do {
        if (!ReadTyped(key)) return false;
        if (key == Escape && !ReadBehindEscape(key)) return false;
    } while (key == L'\0');
    m_isPasting = key == MoreToPaste;
    return true;
}

/// Reads a character, or what happens before there is one.
bool KeyReader::ReadTyped(wchar_t& key) {
    for (;;) {
        std::string_view unread = Unread();
        while (TakeCharacter(unread, key)) {
            SetUnread(unread);
            if (key <= Delete || key >= FirstPrintable) return true;
        }
        switch (ReadMore()) {
        case Terminal::Event::Input: break;
        case Terminal::Event::Interrupt: key = CtrlC; return true;
        case Terminal::Event::Changed: key = WindowChanged; return true;
        case Terminal::Event::EndOfFile:
        case Terminal::Event::Gone: return false;
        }
    }
}

/// What Escape and the keys behind it are. A control character ends whatever it interrupts, so Ctrl-C always works.
bool KeyReader::ReadBehindEscape(wchar_t& key) {
    constexpr int Pause = 50; // milliseconds; a terminal sends a sequence at once
    if (m_isEscapeKey && Unread().empty() && !m_terminal.HasInput(Pause)) return true;
    if (!ReadTyped(key)) return false;
    const bool isTwice = key == Escape;
    if (isTwice && !ReadTyped(key)) return false;
    const bool isSequence = (key == L'[' || key == L'O') && (!Unread().empty() || m_terminal.HasInput(Pause));
    if (isSequence) return key == L'[' ? ReadSequence(isTwice, key) : ReadLetter(isTwice, key);
    if (IsControl(key) || key == WindowChanged) return true;
    m_pushed.insert(0, 1, key);
    key = Escape;
    return true;
}

bool KeyReader::ReadLetter(bool hasAlt, wchar_t& key) {
    if (!ReadTyped(key)) return false;
    if (!IsControl(key)) key = KeyOfLetter(key, hasAlt);
    return true;
}

bool KeyReader::ReadSequence(bool hasAlt, wchar_t& key) {
    std::string parameters;
    while (ReadTyped(key)) {
        if (IsControl(key) || key > Delete) return true;
        if (key == L'[' && parameters.empty()) { // a function key of a Linux console
            if (!ReadTyped(key)) return false;
            if (!IsControl(key)) key = L'\0';
            return true;
        }
        if (key >= L'@') {
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
    wchar_t character = 0;
    while (ReadPasted(character)) {
        const bool isRestOfLineEnd = character == L'\n' && m_lastPasted == L'\r';
        m_lastPasted = character;
        if (m_isDroppingPaste || isRestOfLineEnd || character == L'\0') continue;
        if (character == L'\r' || character == L'\n') {
            pasted.endsLine = true;
            return pasted;
        }
        pasted.text += character == L'\t' ? L' ' : character;
    }
    EndPaste();
    return pasted;
}

/// False where the pasted text ends. Ctrl-C ends it too, if its end never comes.
bool KeyReader::ReadPasted(wchar_t& character) {
    for (;;) {
        std::string_view unread = Unread();
        if (unread.starts_with(PasteEnd)) {
            SetUnread(unread.substr(PasteEnd.size()));
            return false;
        }
        if (!PasteEnd.starts_with(unread) && TakeCharacter(unread, character)) {
            SetUnread(unread);
            if (character != CtrlC) return true;
            m_lastPasted = character;
            Push(CtrlC);
            return false;
        }
        const Terminal::Event event = ReadMore(); // `Read` finds any other event again
        if (event != Terminal::Event::Input && event != Terminal::Event::Changed) return false;
    }
}

void KeyReader::Drop() {
    m_pushed.clear();
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

} // namespace Quarn
