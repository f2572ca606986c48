// What a load comes to when the engine refuses a call of the plug-in, and when it comes back into the
// plug-in from within one.
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgUIConsole.h"
#include "tests/robustness/WatchedStore.h"
#include "tests/robustness/WholeLoad.h"

#include <algorithm>
#include <sstream>

namespace {

constexpr u32 kOtherKey = 2;

class EngineRefusal : public WholeLoadTest {
protected:
    EngineRefusal() { LoadUndisturbed("station-O1-be.axf"); }

    /// Asks everything of a store that treats the plug-in's calls as it will, and then of another one: what
    /// went wrong with one file is nothing to the next.
    void AskAllOf(WatchedStore& store)
    {
        AskAll(m_plugin, store, m_requests);
        DbgSymSymFile other(m_path, kOtherKey);
        EXPECT_EQ(AskAll(m_plugin, other, m_requests), m_answers);
        EXPECT_EQ(Difference(Contents(other), m_contents), "");
    }

    /// How often a whole load calls the engine.
    int CallsOfAll()
    {
        WatchedStore store(m_path, kKey);
        int calls = 0;
        store.allows = [&](EngineCall) { return ++calls, true; };
        AskAll(m_plugin, store, LoadsOnly());
        return calls;
    }

    void RefuseEachCall()
    {
        const int count = CallsOfAll();
        EXPECT_GT(count, 5);
        for (int number = 1; number <= count; ++number) {
            WatchedStore store(m_path, kKey);
            int calls = 0;
            store.allows = [&](EngineCall) { return ++calls != number; };
            AskAll(m_plugin, store, LoadsOnly());
            const std::string missing = Difference(Ids(Contents(store), false), Ids(m_contents, false));
            EXPECT_LE(std::count(missing.begin(), missing.end(), '\n'), 1) << number << missing;
            EXPECT_FALSE(missing.starts_with('+')) << number << missing;
        }
    }

    std::vector<Request> LoadsOnly() const
    {
        return OfKinds(m_requests, {Request::Add, Request::Sections, Request::Index, Request::Unit, Request::Function,
                                    Request::Lines});
    }
};

TEST_F(EngineRefusal, EachOperationOfTheEngineMayRefuse)
{
    for (const EngineCall refused : kEngineCalls) {
        SCOPED_TRACE(static_cast<int>(refused));
        WatchedStore store(m_path, kKey);
        int refusals = 0;
        store.allows = [&](EngineCall call) { return call != refused || (++refusals, false); };
        AskAllOf(store);
        EXPECT_GT(refusals, 0);
        EXPECT_FALSE(Contents(store).empty());
    }
}

TEST_F(EngineRefusal, AnySingleCallMayBeRefused)
{
    for (const TempFile odd = OddFile(); const std::string& path : {m_path, odd.Path()}) {
        LoadUndisturbed(path);
        RefuseEachCall();
    }
}

class RefusingInterface : public DbgUserInterface {
public:
    RefusingInterface() { DbgEngineInterface::SetUserInterface(this); }
    ~RefusingInterface() override { DbgEngineInterface::SetUserInterface(nullptr); }
    ProgressIndicator* OpenProgress(const char*, const char*, u32, u32, u32, bool) override
    {
        ++opened;
        return nullptr;
    }
    int opened = 0;
};

TEST_F(EngineRefusal, ADumpNeedsNoProgressIndicatorAndNoStream)
{
    const RefusingInterface interface;
    DbgSymSymFile store(m_path, kKey);
    EXPECT_EQ(AskAll(m_plugin, store, m_requests), m_answers);
    EXPECT_GT(interface.opened, 0);

    class ClosedConsole : public DbgUIConsole {
    public:
        ClosedConsole() { m_stream.setstate(std::ios_base::badbit); }
        std::iostream& iostream() override { return m_stream; }
        void ClearContents(u32) override { clear(); }
        void CommandFinished() override {}
        std::function<void()> clear;

    private:
        std::stringstream m_stream;
    } console;
    DbgSymContext context;
    context.symFile = kKey;
    const std::string nested = "mem";
    console.clear = [&] { m_plugin.ConsoleCommand(&context, &nested, &console); };
    AskAll(m_plugin, store, LoadsOnly());
    for (const Request& request : OfKinds(m_requests, {Request::Console})) {
        EXPECT_EQ(m_plugin.ConsoleCommand(&context, &request.text, &console), 1u);
    }
    console.clear = [&] { Ask(m_plugin, store, {Request::Remove}); };
    const std::string last = "clear";
    EXPECT_EQ(m_plugin.ConsoleCommand(&context, &last, &console), 1u);
    EXPECT_EQ(m_plugin.ConsoleCommand(&context, &last, &console), 0u);
}

class ReEntry : public EngineRefusal {};

TEST_F(ReEntry, AFileMayGoAwayWithinAnyCall)
{
    const int count = CallsOfAll();
    for (int number = 1; number <= count; ++number) {
        WatchedStore store(m_path, kKey);
        int calls = 0;
        store.allows = [&](EngineCall) {
            if (++calls == number) {
                Ask(m_plugin, store, {Request::Remove});
            }
            return true;
        };
        AskAll(m_plugin, store, LoadsOnly());
        EXPECT_GE(calls, number);
        const int behind = calls;
        for (const Request& request : m_requests) {
            if (request.kind != Request::Check && request.kind != Request::Add) {
                EXPECT_EQ(Ask(m_plugin, store, request), "");
            }
        }
        EXPECT_EQ(calls, behind);
    }
}

// The whole of another unit, questions and dumps, from within the first AddVariable of each request. A
// look-up by name leaves its own selection to the request that is running, which ends with less then:
// asked again, it brings the rest.
TEST_F(ReEntry, AddVariableMayAskForAnything)
{
    for (const bool byName : {false, true}) {
        WatchedStore store(m_path, kKey);
        bool inside = false;
        bool came = false;
        std::vector<Request> nested = OfKinds(m_requests, {Request::Unit, Request::Console, Request::ElfByName,
                                                           Request::ElfByAddress, Request::CodeType});
        if (byName) {
            const std::vector<Request> names = OfKinds(m_requests, {Request::ByName});
            nested.insert(nested.end(), names.begin(), names.end());
        }
        store.allows = [&](EngineCall call) {
            if (call == EngineCall::AddVariable && !inside && !came) {
                inside = came = true;
                AskAll(m_plugin, store, nested);
                inside = false;
            }
            return true;
        };
        const std::vector<Request> loads = LoadsOnly();
        for (const Request& request : loads) {
            came = false;
            Ask(m_plugin, store, request);
        }
        if (byName) {
            came = true;
            for (const Request& request : OfKinds(loads, {Request::Unit, Request::Function})) {
                Ask(m_plugin, store, request);
            }
        }
        EXPECT_EQ(Difference(Ids(Contents(store)), Ids(m_contents)), "") << byName;
    }
}

class Registry : public EngineRefusal {};

TEST_F(Registry, AKeyThatIsUsedAgainNamesTheNewFile)
{
    DbgSymSymFile first(m_path, kKey);
    AskAll(m_plugin, first, LoadsOnly());
    EXPECT_EQ(Contents(first), m_contents);
    LoadUndisturbed("library.axf");
    AskAll(m_plugin, first, LoadsOnly());
    const std::vector<std::string> before = Contents(first);
    DbgSymSymFile second(m_path, kKey);
    EXPECT_EQ(AskAll(m_plugin, second, m_requests), m_answers);
    EXPECT_EQ(Difference(Contents(second), m_contents), "");
    EXPECT_EQ(Contents(first), before);
}

// The store knows the types already. The walk continues after what it knows of each, which may be the
// end.
TEST_F(Registry, AFileMayBeAddedAnewWithTheSameStore)
{
    for (const char* sample : {"station-O1-be.axf", "clang-O2.axf", "library.axf"}) {
        LoadUndisturbed(sample);
        DbgSymSymFile store(m_path, kKey);
        AskAll(m_plugin, store, m_requests);
        EXPECT_EQ(AskAll(m_plugin, store, m_requests), m_answers);
        const std::vector<std::string> twice = Ids(Contents(store));
        for (const std::string& id : Ids(m_contents)) {
            const auto count = std::count(twice.begin(), twice.end(), id);
            EXPECT_GE(count, 1) << sample << id;
            EXPECT_LE(count, IsType(id) ? 1 : 2) << sample << id;
        }
    }
}

TEST_F(Registry, FilesDoNotMeet)
{
    DbgSymSymFile first(m_path, kKey);
    DbgSymSymFile twin(m_path, kOtherKey);
    const std::vector<Request> requests = m_requests;
    const std::vector<std::string> answers = m_answers;
    const std::vector<std::string> contents = m_contents;
    LoadUndisturbed("library.axf");
    DbgSymSymFile small(m_path, 3);
    for (std::size_t i = 0; i < requests.size(); ++i) {
        EXPECT_EQ(Ask(m_plugin, first, requests[i]), answers[i]);
        if (i < m_requests.size()) {
            EXPECT_EQ(Ask(m_plugin, small, m_requests[i]), m_answers[i]);
        }
        EXPECT_EQ(Ask(m_plugin, twin, requests[i]), answers[i]);
    }
    EXPECT_EQ(Difference(Contents(first), contents), "");
    EXPECT_EQ(Difference(Contents(twin), contents), "");
    EXPECT_EQ(Difference(Contents(small), m_contents), "");
}

} // namespace
