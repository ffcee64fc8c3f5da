#include "compiler/token.h"

#include "platform/files.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <unistd.h>

namespace {

// The marker that each block read leaves in the log.
const char READ_MARKER[] = "\r\n====READ BUFFER====\r\n\r\n";
constexpr int READ_MARKER_LENGTH = sizeof(READ_MARKER) - 1; // 25 bytes

bool IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool IsBracket(char c)
{
    return c == '{' || c == '}' || c == '(' || c == ')' || c == '[' || c == ']';
}

// A plain token stops in front of white space, a quote or a bracket.
bool EndsPlainToken(char c)
{
    return IsSpace(c) || c == '"' || IsBracket(c);
}

// The text of a token while it is collected. Characters beyond the room of
// TOKEN_MAX_LENGTH are dropped, so a long token comes out cut.
struct CTokenText {
    char Text[TOKEN_MAX_LENGTH + 1];
    int Length = 0;

    void Add(char c)
    {
        if (Length < TOKEN_MAX_LENGTH)
            Text[Length++] = c;
    }
    const char* Finish()
    {
        Text[Length] = '\0';
        return Text;
    }
};

} // namespace

// ---------------------------------------------------------------------------
// CToken

CToken::CToken(const CToken& other)
{
    if (other.pText)
        Set(other.pText);
}

CToken::~CToken()
{
    Free();
}

bool CToken::Set(const char* pszText)
{
    if (!pszText) {
        Free();
        return true;
    }
    // Copy first: pszText may be this token's own text.
    size_t nSize = std::strlen(pszText) + 1;
    char* pCopy = new (std::nothrow) char[nSize];
    if (!pCopy)
        return false;
    std::memcpy(pCopy, pszText, nSize);
    Free();
    pText = pCopy;
    return true;
}

void CToken::Free()
{
    delete[] pText;
    pText = nullptr;
}

CToken& CToken::operator=(const CToken& other)
{
    if (this == &other)
        return *this;
    if (other.pText)
        Set(other.pText);
    else
        Free();
    return *this;
}

bool CToken::operator==(const CToken& other) const
{
    if (!pText || !other.pText)
        return !pText && !other.pText;
    return std::strcmp(pText, other.pText) == 0;
}

bool CToken::operator==(const char* pszText) const
{
    if (!pszText)
        return !pText;
    return pText && std::strcmp(pText, pszText) == 0;
}

int CToken::ToInt() const
{
    return pText ? std::atoi(pText) : 0;
}

double CToken::ToFloat() const
{
    return pText ? std::atof(pText) : 0.0;
}

// ---------------------------------------------------------------------------
// CTokenReader

CTokenReader::~CTokenReader()
{
    Close();
}

bool CTokenReader::Open(const char* pszFileName)
{
    Close();
    hFile = OpenFileRead(pszFileName);
    if (hFile < 0)
        return false;
    // The first block is read before the log exists, so it leaves no marker.
    Refill();
    // Without a log the reader works the same.
    hLog = CreateFileWrite(TOKEN_LOG_PATH);
    return true;
}

void CTokenReader::Close()
{
    FlushLog();
    if (hFile >= 0)
        ::close(hFile);
    if (hLog >= 0)
        ::close(hLog);
    hFile = -1;
    hLog = -1;
    BufferCount = 0;
    Flags = 0;
}

void CTokenReader::WriteLog(const char* pData, int nLength)
{
    if (hLog < 0 || nLength <= 0)
        return;
    // Every piece of the log (a token, a line end, the block marker) is far
    // smaller than the buffer.
    if (LogCount + nLength > TOKEN_LOG_BUFFER_SIZE)
        FlushLog();
    std::memcpy(LogBuffer + LogCount, pData, static_cast<size_t>(nLength));
    LogCount += nLength;
}

void CTokenReader::FlushLog()
{
    if (hLog >= 0 && LogCount > 0) {
        ssize_t nWritten = ::write(hLog, LogBuffer, static_cast<size_t>(LogCount));
        (void)nWritten; // log writes are not checked
    }
    LogCount = 0;
}

bool CTokenReader::HaveByte(int& nUsed)
{
    if (nUsed < BufferCount)
        return true;
    // A token runs on across the border of two blocks.
    Refill();
    if (Flags & TOKEN_END)
        return false;
    nUsed = 0;
    return true;
}

void CTokenReader::Refill()
{
    WriteLog(READ_MARKER, READ_MARKER_LENGTH);
    if (Flags & TOKEN_LAST_BLOCK) {
        Flags |= TOKEN_END;
        FlushLog(); // nothing more comes: complete the log while still open
        return;
    }
    if (hFile < 0) {
        BufferCount = 0;
        Flags |= TOKEN_LAST_BLOCK | TOKEN_END;
        return;
    }

    // Fill the whole block unless the file ends: a short count means the end.
    int nRead = 0;
    while (nRead < TOKEN_BUFFER_SIZE) {
        ssize_t n = ::read(hFile, Buffer + nRead, static_cast<size_t>(TOKEN_BUFFER_SIZE - nRead));
        if (n <= 0)
            break; // a read error counts as the end of the file
        nRead += static_cast<int>(n);
    }
    BufferCount = nRead;
    if (nRead != TOKEN_BUFFER_SIZE)
        Flags |= TOKEN_LAST_BLOCK;
    if (nRead == 0)
        Flags |= TOKEN_END;
}

void CTokenReader::SkipSpace(int start)
{
    if (Flags & TOKEN_END)
        return;
    int i = start < BufferCount ? start : BufferCount;
    while (i < BufferCount && IsSpace(Buffer[i]))
        ++i;
    std::memmove(Buffer, Buffer + i, static_cast<size_t>(BufferCount - i));
    BufferCount -= i;
}

bool CTokenReader::Next(CToken& token)
{
    if (Flags & TOKEN_END)
        return false;
    SkipSpace(0);
    while (BufferCount == 0) {
        Refill();
        if (Flags & TOKEN_END)
            return false;
        SkipSpace(0);
    }

    CTokenText text;
    int nUsed = 0; // bytes taken from the current block
    const char first = Buffer[0];
    if (IsBracket(first)) {
        text.Add(first);
        nUsed = 1;
    } else if (first == '"') {
        // Quotes stay part of the text; a token cut for length still runs to
        // its closing quote in the input.
        text.Add(first);
        nUsed = 1;
        bool bClosed = false;
        while (HaveByte(nUsed)) {
            const char c = Buffer[nUsed++];
            text.Add(c);
            if (c == '"') {
                bClosed = true;
                break;
            }
        }
        if (!bClosed)
            text.Add('"');
    } else {
        while (HaveByte(nUsed)) {
            const char c = Buffer[nUsed];
            if (EndsPlainToken(c))
                break; // stays for the next token
            text.Add(c);
            ++nUsed;
        }
    }

    token.Set(text.Finish());
    WriteLog(text.Text, text.Length);
    WriteLog("\r\n", 2);
    if (Flags & TOKEN_END)
        FlushLog(); // the last token: the log is complete
    SkipSpace(nUsed);
    return true;
}
