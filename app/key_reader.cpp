#include "app/key_reader.h"

#include "app/wide_text.h"

namespace Quarn {

namespace {

constexpr std::string_view PasteEnd = "\033[201~";

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
    for (;;) {
        std::string_view unread = Unread();
        while (TakeCharacter(unread, key)) {
            SetUnread(unread);
            if (key < MoreToPaste || key >= FirstPrintable) return true;
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

Terminal::Event KeyReader::ReadMore() {
    m_bytes.erase(0, m_read);
    m_read = 0;
    return m_terminal.Read(m_bytes);
}

KeyReader::Pasted KeyReader::ReadPasted() {
    Pasted pasted;
    m_isPasting = true;
    for (;;) {
        std::string_view unread = Unread();
        if (unread.starts_with(PasteEnd)) {
            SetUnread(unread.substr(PasteEnd.size()));
            m_isPasting = m_isDroppingPaste = false;
            return pasted;
        }
        wchar_t character = 0;
        if (PasteEnd.starts_with(unread) || !TakeCharacter(unread, character)) {
            const Terminal::Event event = ReadMore();
            if (event == Terminal::Event::Input || event == Terminal::Event::Changed) continue;
            m_isPasting = m_isDroppingPaste = false; // `Read` finds the event again
            return pasted;
        }
        SetUnread(unread);
        const bool isRestOfLineEnd = character == L'\n' && m_lastPasted == L'\r';
        m_lastPasted = character;
        if (character == CtrlC) { // the way out if the end never comes
            m_isPasting = m_isDroppingPaste = false;
            Push(CtrlC);
            return pasted;
        }
        if (m_isDroppingPaste || isRestOfLineEnd || character == L'\0') continue;
        if (character == L'\r' || character == L'\n') {
            pasted.endsLine = true;
            return pasted;
        }
        pasted.text += character == L'\t' ? L' ' : character;
    }
}

void KeyReader::Drop() {
    m_pushed.clear();
    if (m_isPasting) { // up to its end, which may still be on its way
        m_isDroppingPaste = true;
        return;
    }
    m_bytes.clear();
    m_read = 0;
    m_terminal.DropInput();
}

} // namespace Quarn
