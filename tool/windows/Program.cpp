#include "tool/Program.h"

#include "tool/ExitCode.h"
#include "tool/windows/CommandLine.h"
#include "tool/windows/EndRequests.h"
#include "tool/windows/Handle.h"
#include "tool/windows/Text.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace tool {

namespace {

struct ByName {
    bool operator()(const std::wstring& one, const std::wstring& other) const {
        return ::CompareStringOrdinal(one.c_str(), -1, other.c_str(), -1, TRUE) == CSTR_LESS_THAN;
    }
};

/// This process's environment with the changes, in the system's form: sorted by name, each entry
/// followed by a zero, and another zero at the end.
std::wstring environmentWith(const Program::Changes& changes) {
    std::map<std::wstring, std::wstring, ByName> variables;
    const std::unique_ptr<wchar_t, decltype(&::FreeEnvironmentStringsW)> block(
        ::GetEnvironmentStringsW(), &::FreeEnvironmentStringsW);
    for (const wchar_t* entry = block.get(); entry != nullptr && *entry != L'\0';) {
        const std::wstring text = entry;
        // Entries for the current folder of a drive begin with this sign.
        variables[text.substr(0, text.find(L'=', 1))] = text;
        entry += text.size() + 1;
    }
    for (const auto& [name, value] : changes) {
        if (value) {
            variables[wide(name)] = wide(name + '=' + *value);
        } else {
            variables.erase(wide(name));
        }
    }
    std::wstring text;
    for (const auto& [name, variable] : variables) {
        text += variable + L'\0';
    }
    return text + L'\0';
}

/// A copy of a standard stream that a program can inherit; empty if it is closed.
Handle inheritable(DWORD stream) {
    HANDLE copy = nullptr;
    const HANDLE process = ::GetCurrentProcess();
    return ::DuplicateHandle(process, ::GetStdHandle(stream), process, &copy, 0, TRUE,
                             DUPLICATE_SAME_ACCESS) != 0
               ? Handle(copy)
               : Handle();
}

/// A job that ends its program when nobody has the job open any more: with this process, however it
/// ends. Programs that the program starts are not in the job.
Handle makeJob() {
    constexpr const char* failure = "cannot start the program";
    Handle job = required(::CreateJobObjectW(nullptr, nullptr), failure);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;
    if (::SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits,
                                  sizeof limits) == 0) {
        failSystem(failure);
    }
    return job;
}

/// The start information of a program: it inherits the standard streams and no other handle, and it
/// is in its job from the start.
class Start {
public:
    explicit Start(const Handle& job) : m_job(job.get()) {
        for (const Handle& stream : m_streams) {
            if (stream) {
                m_inherited.push_back(stream.get());
            }
        }
        SIZE_T size = 0;
        ::InitializeProcThreadAttributeList(nullptr, attributes, 0, &size);
        m_room.resize(size);
        m_info.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_room.data());
        if (::InitializeProcThreadAttributeList(m_info.lpAttributeList, attributes, 0, &size) ==
            0) {
            failSystem("cannot start the program");
        }
        set(PROC_THREAD_ATTRIBUTE_JOB_LIST, &m_job, sizeof m_job);
        if (inherits()) {
            set(PROC_THREAD_ATTRIBUTE_HANDLE_LIST, m_inherited.data(),
                m_inherited.size() * sizeof(HANDLE));
        }
        m_info.StartupInfo.cb = sizeof m_info;
        m_info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        m_info.StartupInfo.hStdInput = m_streams[0].get();
        m_info.StartupInfo.hStdOutput = m_streams[1].get();
        m_info.StartupInfo.hStdError = m_streams[2].get();
    }
    ~Start() { ::DeleteProcThreadAttributeList(m_info.lpAttributeList); }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    STARTUPINFOW* info() { return &m_info.StartupInfo; }
    bool inherits() const { return !m_inherited.empty(); }

private:
    static constexpr DWORD attributes = 2;

    void set(DWORD_PTR attribute, void* value, SIZE_T size) {
        if (::UpdateProcThreadAttribute(m_info.lpAttributeList, 0, attribute, value, size, nullptr,
                                        nullptr) == 0) {
            failSystem("cannot start the program");
        }
    }

    HANDLE m_job;
    const std::array<Handle, 3> m_streams{inheritable(STD_INPUT_HANDLE),
                                          inheritable(STD_OUTPUT_HANDLE),
                                          inheritable(STD_ERROR_HANDLE)};
    std::vector<HANDLE> m_inherited;
    std::vector<unsigned char> m_room;
    STARTUPINFOEXW m_info{};
};

}  // namespace

Inheritance::Inheritance() = default;

void Inheritance::restore() const {}

/// The console reports Ctrl-C and its closing to the program directly.
struct SignalRelay::State {
    const EndRequests requests{[](bool) {}};
};

SignalRelay::SignalRelay() : m_state(std::make_unique<State>()) {}

SignalRelay::~SignalRelay() = default;

void Program::become() const {
    const SignalRelay relay;
    endLike(run(relay));
}

int Program::run(const SignalRelay& /*relay*/) const {
    const std::wstring file = findProgram(m_command.front());
    if (file.empty()) {
        fail(ERROR_FILE_NOT_FOUND);
    }
    if (isBatchFile(file)) {
        throw ProgramError(
            ExitCode::ProgramNotExecutable,
            m_command.front() + ": a batch file, which only cmd can run; use cmd /c");
    }
    std::wstring line = commandLine(m_command);
    std::wstring environment = environmentWith(m_changes);
    const Handle job = makeJob();
    Start start(job);
    PROCESS_INFORMATION made{};
    if (::CreateProcessW(file.c_str(), line.data(), nullptr, nullptr, start.inherits(),
                         CREATE_UNICODE_ENVIRONMENT | EXTENDED_STARTUPINFO_PRESENT,
                         environment.data(), nullptr, start.info(), &made) == 0) {
        fail(static_cast<int>(::GetLastError()));
    }
    const Handle thread(made.hThread);
    const Handle process(made.hProcess);
    DWORD code = 0;
    if (::WaitForSingleObject(process.get(), INFINITE) == WAIT_FAILED ||
        ::GetExitCodeProcess(process.get(), &code) == 0) {
        failSystem("cannot wait for the program");
    }
    return static_cast<int>(code);
}

void Program::fail(int error) const {
    const bool isMissing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
    throw ProgramError(isMissing ? ExitCode::ProgramNotFound : ExitCode::ProgramNotExecutable,
                       m_command.front() + ": " + std::system_category().message(error));
}

void endLike(int status) {
    std::exit(status);
}

}  // namespace tool
