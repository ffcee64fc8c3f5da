#pragma once
// CToken and CTokenReader: the tokenizer under the map text and the light
// list. The reader pulls a file through a 1024-byte buffer, cuts it into
// tokens and writes every token it hands out to the log "C:\tokens.txt".
#include <cstdint>

constexpr int TOKEN_BUFFER_SIZE = 1024;
// Characters a token keeps, quotes included; a longer token is cut to this.
constexpr int TOKEN_MAX_LENGTH = 511;
constexpr uint32_t TOKEN_LAST_BLOCK = 1; // the last read gave less than a full buffer
constexpr uint32_t TOKEN_END = 2;        // the input is used up
constexpr const char* TOKEN_LOG_PATH = "C:\\tokens.txt";
constexpr int TOKEN_LOG_BUFFER_SIZE = 8192; // log bytes gathered before a write

class CToken {
public:
    CToken() = default;
    CToken(const CToken& other);
    virtual ~CToken();

    bool Set(const char* pszText); // false when the copy cannot be allocated
    void Free();
    const char* GetString() const { return pText; }

    CToken& operator=(const CToken& other);
    bool operator==(const CToken& other) const;
    // A null text equals exactly an empty token; an empty token equals no string.
    bool operator==(const char* pszText) const;

    int ToInt() const;      // atoi of the text, 0 when empty
    double ToFloat() const; // atof of the text, 0 when empty

private:
    char* pText = nullptr;
};

class CTokenReader {
public:
    CTokenReader() = default;
    CTokenReader(const CTokenReader&) = delete;
    CTokenReader& operator=(const CTokenReader&) = delete;
    virtual ~CTokenReader();

    // Opens the file through the drive mapping of the file layer, reads the
    // first block, then opens the log. False when the file can't be opened.
    bool Open(const char* pszFileName);
    void Close();
    // The next token; false, token unchanged, when the input is used up.
    bool Next(CToken& token);
    bool IsEnd() const { return (Flags & TOKEN_END) != 0; }

private:
    void Refill();
    // Makes Buffer[nUsed] readable, reading the next block when the current
    // one is used up (nUsed then restarts at 0); false when the input ends.
    bool HaveByte(int& nUsed);
    void SkipSpace(int start);
    void WriteLog(const char* pData, int nLength);
    void FlushLog();

    int hFile = -1; // -1 while closed
    int hLog = -1;
    char Buffer[TOKEN_BUFFER_SIZE] = {};
    int32_t BufferCount = 0;
    uint32_t Flags = 0;
    // The log is written in blocks: one write per token would dominate the
    // time of a parse.
    char LogBuffer[TOKEN_LOG_BUFFER_SIZE] = {};
    int32_t LogCount = 0;
};
