// Reading script text into commands, with a "FILE:LINE: message" for the
// first line that does not make sense.
#include "viewer/script.h"

#include "platform/dinput.h"

#include <cstdint>
#include <fstream>
#include <limits>
#include <sstream>

namespace {

constexpr int MOUSE_BUTTONS = 4;
constexpr int64_t AXIS_MAX = 65535;
constexpr int64_t POV_MAX = 35999;
constexpr uint32_t POV_CENTRED = 0xFFFFFFFFu;

// Decimal, or hex after "0x"; an optional minus sign; nothing else.
bool ParseNumber(const std::string& token, int64_t* pOut)
{
    size_t nPos = 0;
    const bool bNegative = !token.empty() && token[0] == '-';
    if (bNegative)
        nPos = 1;
    int nBase = 10;
    if (token.size() > nPos + 2 && token[nPos] == '0' && (token[nPos + 1] == 'x' || token[nPos + 1] == 'X')) {
        nBase = 16;
        nPos += 2;
    }
    if (nPos >= token.size() || token.size() - nPos > 10)
        return false;
    int64_t nValue = 0;
    for (; nPos < token.size(); ++nPos) {
        const char c = token[nPos];
        int nDigit = -1;
        if (c >= '0' && c <= '9')
            nDigit = c - '0';
        else if (nBase == 16 && c >= 'a' && c <= 'f')
            nDigit = c - 'a' + 10;
        else if (nBase == 16 && c >= 'A' && c <= 'F')
            nDigit = c - 'A' + 10;
        if (nDigit < 0)
            return false;
        nValue = nValue * nBase + nDigit;
    }
    *pOut = bNegative ? -nValue : nValue;
    return true;
}

std::string StripComment(const std::string& line)
{
    const size_t nHash = line.find('#');
    return nHash == std::string::npos ? line : line.substr(0, nHash);
}

std::string Trim(const std::string& text)
{
    const size_t nFirst = text.find_first_not_of(" \t\r\n");
    if (nFirst == std::string::npos)
        return std::string();
    const size_t nLast = text.find_last_not_of(" \t\r\n");
    return text.substr(nFirst, nLast - nFirst + 1);
}

class CScriptParser {
public:
    CScriptParser(const std::string& name, CScript* pScript) : Name(name), pScript(pScript) {}

    bool ParseLine(const std::string& line, int nLine);
    const std::string& Error() const { return ErrorText; }

private:
    bool Fail(const std::string& message);
    bool Expect(size_t nCount, const char* pszUsage);
    bool Number(size_t nIndex, int64_t nMin, int64_t nMax, int64_t* pOut);
    bool Key(size_t nIndex, int32_t* pOut);
    bool UpDown(size_t nIndex, bool* pDown);
    bool Index(size_t nIndex, int nCount, const char* pszWhat, int32_t* pOut);
    void Add(EScriptOp op, int32_t nA = 0, int32_t nB = 0);

    bool ParseWait();
    bool ParseKey(EScriptOp op);
    bool ParsePress();
    bool ParseMouse();
    bool ParseButton();
    bool ParseJoystick();
    bool ParseAxis();
    bool ParseJoyButton();
    bool ParsePov();
    bool ParseShot(const std::string& line);

    std::string Name;
    CScript* pScript;
    std::vector<std::string> Words;
    int nLine = 0;
    std::string ErrorText;
};

bool CScriptParser::Fail(const std::string& message)
{
    ErrorText = Name + ":" + std::to_string(nLine) + ": " + message;
    return false;
}

bool CScriptParser::Expect(size_t nCount, const char* pszUsage)
{
    if (Words.size() == nCount)
        return true;
    return Fail(std::string("expected \"") + pszUsage + "\"");
}

bool CScriptParser::Number(size_t nIndex, int64_t nMin, int64_t nMax, int64_t* pOut)
{
    const std::string& word = Words[nIndex];
    if (!ParseNumber(word, pOut))
        return Fail("\"" + word + "\" is not a number");
    if (*pOut < nMin || *pOut > nMax)
        return Fail(word + " is out of range (" + std::to_string(nMin) + ".." +
                    std::to_string(nMax) + ")");
    return true;
}

bool CScriptParser::Key(size_t nIndex, int32_t* pOut)
{
    const std::string& word = Words[nIndex];
    int64_t nCode = ScanCodeByName(word.c_str());
    if (nCode < 0 && (!ParseNumber(word, &nCode) || nCode < 0 || nCode > 255))
        return Fail("unknown key \"" + word + "\"");
    *pOut = static_cast<int32_t>(nCode);
    return true;
}

bool CScriptParser::UpDown(size_t nIndex, bool* pDown)
{
    const std::string& word = Words[nIndex];
    if (word != "down" && word != "up")
        return Fail("\"" + word + "\" is neither down nor up");
    *pDown = word == "down";
    return true;
}

bool CScriptParser::Index(size_t nIndex, int nCount, const char* pszWhat, int32_t* pOut)
{
    int64_t nValue = 0;
    if (!ParseNumber(Words[nIndex], &nValue))
        return Fail("\"" + Words[nIndex] + "\" is not a number");
    if (nValue < 0 || nValue >= nCount)
        return Fail(std::string(pszWhat) + " " + Words[nIndex] + " does not exist (there are " +
                    std::to_string(nCount) + ")");
    *pOut = static_cast<int32_t>(nValue);
    return true;
}

void CScriptParser::Add(EScriptOp op, int32_t nA, int32_t nB)
{
    CScriptCommand command;
    command.Op = op;
    command.nA = nA;
    command.nB = nB;
    command.nLine = nLine;
    pScript->Commands.push_back(std::move(command));
}

bool CScriptParser::ParseWait()
{
    int64_t nFrames = 0;
    if (!Expect(2, "wait N") || !Number(1, 0, std::numeric_limits<int32_t>::max(), &nFrames))
        return false;
    Add(EScriptOp::Wait, static_cast<int32_t>(nFrames));
    return true;
}

bool CScriptParser::ParseKey(EScriptOp op)
{
    int32_t nCode = 0;
    if (!Expect(2, op == EScriptOp::KeyDown ? "down KEY" : "up KEY") || !Key(1, &nCode))
        return false;
    Add(op, nCode);
    return true;
}

bool CScriptParser::ParsePress()
{
    int32_t nCode = 0;
    if (!Expect(2, "press KEY") || !Key(1, &nCode))
        return false;
    Add(EScriptOp::KeyDown, nCode);
    Add(EScriptOp::Wait, 1);
    Add(EScriptOp::KeyUp, nCode);
    return true;
}

bool CScriptParser::ParseMouse()
{
    constexpr int64_t nMin = std::numeric_limits<int32_t>::min();
    constexpr int64_t nMax = std::numeric_limits<int32_t>::max();
    int64_t nX = 0, nY = 0;
    if (!Expect(3, "mouse DX DY") || !Number(1, nMin, nMax, &nX) || !Number(2, nMin, nMax, &nY))
        return false;
    Add(EScriptOp::Mouse, static_cast<int32_t>(nX), static_cast<int32_t>(nY));
    return true;
}

bool CScriptParser::ParseButton()
{
    int32_t nButton = 0;
    bool bDown = false;
    if (!Expect(3, "button N down|up") || !Index(1, MOUSE_BUTTONS, "mouse button", &nButton) ||
        !UpDown(2, &bDown))
        return false;
    Add(bDown ? EScriptOp::ButtonDown : EScriptOp::ButtonUp, nButton);
    return true;
}

bool CScriptParser::ParseJoystick()
{
    if (pScript->bJoystick || !pScript->Commands.empty())
        return Fail("joystick must be the first command");
    int64_t nAxes = 0, nButtons = 0, nPovs = 0;
    if (!Expect(4, "joystick AXES BUTTONS POVS") || !Number(1, 0, SCRIPT_MAX_AXES, &nAxes) ||
        !Number(2, 0, SCRIPT_MAX_BUTTONS, &nButtons) || !Number(3, 0, SCRIPT_MAX_POVS, &nPovs))
        return false;
    pScript->bJoystick = true;
    pScript->nAxes = static_cast<int>(nAxes);
    pScript->nButtons = static_cast<int>(nButtons);
    pScript->nPovs = static_cast<int>(nPovs);
    return true;
}

bool CScriptParser::ParseAxis()
{
    int32_t nAxis = 0;
    int64_t nValue = 0;
    if (!Expect(3, "axis N VALUE"))
        return false;
    if (!pScript->bJoystick)
        return Fail("axis needs a joystick line first");
    if (!Index(1, pScript->nAxes, "axis", &nAxis) || !Number(2, 0, AXIS_MAX, &nValue))
        return false;
    Add(EScriptOp::Axis, nAxis, static_cast<int32_t>(nValue));
    return true;
}

bool CScriptParser::ParseJoyButton()
{
    int32_t nButton = 0;
    bool bDown = false;
    if (!Expect(3, "joybutton N down|up"))
        return false;
    if (!pScript->bJoystick)
        return Fail("joybutton needs a joystick line first");
    if (!Index(1, pScript->nButtons, "joystick button", &nButton) || !UpDown(2, &bDown))
        return false;
    Add(bDown ? EScriptOp::JoyButtonDown : EScriptOp::JoyButtonUp, nButton);
    return true;
}

bool CScriptParser::ParsePov()
{
    int32_t nPov = 0;
    int64_t nValue = 0;
    if (!Expect(3, "pov N VALUE"))
        return false;
    if (!pScript->bJoystick)
        return Fail("pov needs a joystick line first");
    if (!Index(1, pScript->nPovs, "pov", &nPov) || !Number(2, -1, POV_CENTRED, &nValue))
        return false;
    if (nValue > POV_MAX && nValue != POV_CENTRED)
        return Fail(Words[2] + " is not a direction (0..35999, or -1 for centred)");
    const uint32_t nPovValue = nValue < 0 ? POV_CENTRED : static_cast<uint32_t>(nValue);
    Add(EScriptOp::Pov, nPov, static_cast<int32_t>(nPovValue));
    return true;
}

// The file name is the rest of the line, so that it may hold spaces.
bool CScriptParser::ParseShot(const std::string& line)
{
    const std::string rest = Trim(Trim(line).substr(Words[0].size()));
    if (rest.empty())
        return Fail("expected \"shot FILE\"");
    Add(EScriptOp::Shot);
    pScript->Commands.back().Path = rest;
    return true;
}

bool CScriptParser::ParseLine(const std::string& rawLine, int nLineIn)
{
    nLine = nLineIn;
    const std::string line = StripComment(rawLine);
    Words.clear();
    std::istringstream stream(line);
    for (std::string word; stream >> word;)
        Words.push_back(word);
    if (Words.empty())
        return true;
    const std::string& command = Words[0];
    if (command == "wait") return ParseWait();
    if (command == "down") return ParseKey(EScriptOp::KeyDown);
    if (command == "up") return ParseKey(EScriptOp::KeyUp);
    if (command == "press") return ParsePress();
    if (command == "mouse") return ParseMouse();
    if (command == "button") return ParseButton();
    if (command == "joystick") return ParseJoystick();
    if (command == "axis") return ParseAxis();
    if (command == "joybutton") return ParseJoyButton();
    if (command == "pov") return ParsePov();
    if (command == "shot") return ParseShot(line);
    return Fail("unknown command \"" + command + "\"");
}

} // namespace

bool ParseScript(const std::string& text, const std::string& name, CScript* pOut,
                 std::string* pError)
{
    CScript script;
    CScriptParser parser(name, &script);
    std::istringstream stream(text);
    int nLine = 0;
    for (std::string line; std::getline(stream, line);) {
        if (!parser.ParseLine(line, ++nLine)) {
            if (pError)
                *pError = parser.Error();
            return false;
        }
    }
    *pOut = std::move(script);
    return true;
}

bool LoadScript(const std::string& path, CScript* pOut, std::string* pError)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (pError)
            *pError = path + ": cannot open the script";
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return ParseScript(text.str(), path, pOut, pError);
}
