// host/NamePattern.cpp and host/Demangle.cpp: which names are meant, and hostile names.
#include "host/NamePattern.h"

#include "host/Demangle.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <utility>

namespace {

struct Case {
    const char* text;
    const char* name;
    NameMatch match;
};

void Check(std::initializer_list<Case> cases)
{
    for (const Case& each : cases) {
        EXPECT_EQ(NamePattern(each.text).Match(each.name), each.match) << each.text << " for " << each.name;
    }
}

TEST(NamePattern, ANameFitsAsItStandsAndByItsLastParts)
{
    Check({{"filter", "filter", NameMatch::Exact},
           {"filter", "filter_step", NameMatch::None},
           {"", "filter", NameMatch::None},
           {"next", "Reader::next", NameMatch::LastPart},
           {"ext", "Reader::next", NameMatch::None},
           {"Reader", "Reader::next", NameMatch::None},
           {"Reader::next", "a::Reader::next", NameMatch::LastPart},
           {"counter", "counter.0", NameMatch::WithoutArguments},
           {"parse", "parse.part.0", NameMatch::WithoutArguments},
           {"int", "unsigned int", NameMatch::None},
           {"unsigned  int", "unsigned int", NameMatch::Exact},
           {"counter.0", "counter.0", NameMatch::Exact},
           {".LC0", ".LC0", NameMatch::Exact}});
}

TEST(NamePattern, AMangledNameFitsByItsCppName)
{
    Check({{"_ZN1a6Reader4nextEPc", "_ZN1a6Reader4nextEPc", NameMatch::Exact},
           {"a::Reader::next(char*)", "_ZN1a6Reader4nextEPc", NameMatch::Exact},
           {" a::Reader::next( char * )", "_ZN1a6Reader4nextEPc", NameMatch::Exact},
           {"a::Reader::next", "_ZN1a6Reader4nextEPc", NameMatch::WithoutArguments},
           {"next(char *)", "_ZN1a6Reader4nextEPc", NameMatch::LastPart},
           {"next(char)", "_ZN1a6Reader4nextEPc", NameMatch::None},
           {"next", "_ZNK1a6Reader4nextEPc", NameMatch::LastPart},
           // int* parse<int>(unsigned long), which states what it returns
           {"parse", "_Z5parseIiEPT_m", NameMatch::WithoutArguments},
           {"parse<int>", "_Z5parseIiEPT_m", NameMatch::WithoutArguments},
           {"parse<int>(unsigned long)", "_Z5parseIiEPT_m", NameMatch::Exact},
           {"int", "_Z5parseIiEPT_m", NameMatch::None},
           {"parse", "_Z5parsei.part.0", NameMatch::WithoutArguments},
           {"count", "_ZZ4mainE5count", NameMatch::LastPart},
           {"main", "_ZZ4mainE5count", NameMatch::None},
           {"count", "_ZZNK1a6Reader4nextEvE5count", NameMatch::LastPart}, // of a const function
           {"next", "_ZZNK1a6Reader4nextEvE5count", NameMatch::None},
           {"helper", "_ZN12_GLOBAL__N_16helperEv", NameMatch::LastPart},
           {"(anonymous namespace)::helper", "_ZN12_GLOBAL__N_16helperEv", NameMatch::WithoutArguments},
           {"Reader", "_ZTV6Reader", NameMatch::None},
           {"vtable for Reader", "_ZTV6Reader", NameMatch::Exact}});
}

TEST(NamePattern, TemplateArgumentsNeedNotBeGiven)
{
    Check({{"Ring::Next", "Ring<short, 4>::Next", NameMatch::WithoutArguments},
           {"Ring<short,4>::Next", "Ring<short, 4>::Next", NameMatch::Exact},
           {"Ring<int, 4>::Next", "Ring<short, 4>::Next", NameMatch::None},
           {"Ring<short,4>", "a::Ring<short int, 4>", NameMatch::LastPart},
           {"f(unsigned long, long)", "f(long unsigned int, long int)", NameMatch::Exact},
           {"f(a_short int_)", "f(a_short)", NameMatch::None},
           {"Ring::Next", "a::Ring<short, 4>::Next(char*)", NameMatch::LastPart},
           {"a::Ring::Next(char*)", "a::Ring<short, 4>::Next(char*)", NameMatch::WithoutArguments},
           {"Ring::Next", "_ZN4RingIsLi4EE4NextEv", NameMatch::WithoutArguments},
           {"Ring", "Ring<short, 4>", NameMatch::WithoutArguments},
           {"Ring::Box::get", "void Ring<A<B<int> > >::Box<char>::get<int>(int)", NameMatch::WithoutArguments},
           {"Ring::Box<char>::get", "Ring<A>::Box<char>::get<int>(int)", NameMatch::WithoutArguments},
           {"Ring::Box<int>::get", "Ring<A>::Box<char>::get<int>(int)", NameMatch::None},
           {"A", "Ring<A>::Next", NameMatch::None},
           {"Ring::N*", "a::Ring<short, 4>::Next", NameMatch::None},
           {"a::Ring::N*", "a::Ring<short, 4>::Next", NameMatch::Pattern},
           {"operator<", "operator< <int>(A, A)", NameMatch::WithoutArguments},
           {"K::operator<", "K<int>::operator< <int>(A)", NameMatch::WithoutArguments},
           {"K::operator<", "K<int>::operator<<(A)", NameMatch::None},
           {"f", "f<(anonymous namespace)::g(", NameMatch::WithoutArguments}});
}

TEST(NamePattern, OperatorsAreNames)
{
    Check({{"operator()", "_ZN1KclEi", NameMatch::LastPart},
           {"K::operator()", "_ZN1KclEi", NameMatch::WithoutArguments},
           {"operator<", "_ZltRK1KS1_", NameMatch::WithoutArguments},
           {"operator<", "_ZlsR1Ki", NameMatch::None},
           {"operator<<", "_ZlsR1Ki", NameMatch::WithoutArguments},
           {"operator<", "_ZltIiEbT_S0_", NameMatch::WithoutArguments}, // bool operator< <int>(int, int)
           {"operator->", "_ZN1KptEv", NameMatch::LastPart},
           {"operator*", "_ZN1KmlEi", NameMatch::LastPart},
           {"operator*", "_ZN1KmLEi", NameMatch::Pattern}, // operator*=, by the glob
           {"operator unsigned char", "_ZN1KcvhEv", NameMatch::LastPart},
           {"operator new[]", "_Znaj", NameMatch::WithoutArguments}});
}

TEST(NamePattern, TheWordOfATypeIsCutOff)
{
    for (const std::string text : {"struct node", "class node", "union node", "enum node"}) {
        std::string name = text;
        EXPECT_TRUE(CutTypeWord(name)) << text;
        EXPECT_EQ(name, "node");
    }
    std::string unions = "unions";
    EXPECT_FALSE(CutTypeWord(unions));
}

TEST(NamePattern, AGlobFitsAllOfANameOrItsLastPart)
{
    Check({{"filter*", "filter_step", NameMatch::Pattern},
           {"filter*", "a_filter", NameMatch::None},
           {"*::next", "_ZN1a6Reader4nextEPc", NameMatch::Pattern},
           {"n?x[s-u]", "_ZN1a6Reader4nextEPc", NameMatch::Pattern},
           {"n?x[!s-u]", "_ZN1a6Reader4nextEPc", NameMatch::None},
           {"?next", "next", NameMatch::None},
           {"n?t", "next", NameMatch::None},
           {"a.*", "abc", NameMatch::None},
           {"\\*", "x", NameMatch::None},
           {"[z-a]", "[z-a]", NameMatch::Exact},
           {"[z-a]", "z", NameMatch::None},
           {"*a*a*a*a*a*a*a*a*a*b", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
            NameMatch::None}});
}

TEST(NamePattern, ARegularExpressionIsFoundAnywhere)
{
    const NamePattern pattern("^a::.*ne[x]t\\(", true);
    EXPECT_TRUE(pattern.Error().empty());
    EXPECT_EQ(pattern.Match("_ZN1a6Reader4nextEPc"), NameMatch::Pattern);
    EXPECT_EQ(pattern.Match("b::a::next("), NameMatch::None);
    EXPECT_EQ(NamePattern("\xC3\xA9.+", true).Match("x\xC3\xA9\xFF"), NameMatch::Pattern) << "whatever bytes";
    const NamePattern bad("(", true);
    EXPECT_FALSE(bad.Error().empty());
    EXPECT_EQ(bad.Match("("), NameMatch::None);
}

TEST(NamePattern, AWordStandsForTheName)
{
    const std::pair<const char*, const char*> cases[] = {{"a::Reader::next(char*)", "next"},
                                                         {"int* parse<int>(unsigned long)", "parse"},
                                                         {"K::~K()", "K"},
                                                         {"counter.0", "counter"},
                                                         {"unsigned int", "int"},
                                                         {"K::operator+=", "operator"},
                                                         {"operator K", "operator"},
                                                         {"", ""},
                                                         {"*", ""}};
    for (const auto& [name, word] : cases) {
        EXPECT_EQ(LastWord(name), word) << name;
    }
}

TEST(NamePattern, WhatFitsBestIsMeant)
{
    const NamePattern pattern("next");
    BestMatches<std::string> best;
    for (const char* name : {"other", "a::next", "b::next", "next", "c::next", "next"}) {
        best.Offer(pattern.Match(name), name);
    }
    EXPECT_EQ(best.Things(), (std::vector<std::string>{"next", "next"}));
}

TEST(Demangle, WhatGrowsIsLeftAsItStands)
{
    // Each further argument of f has the one before it twice.
    const auto growing = [](std::size_t steps) {
        std::string name = "_Z1f1TIiiE";
        for (std::size_t step = 0; step < steps; ++step) {
            const std::string last = step == 0 ? "0" : std::string(1, "123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[step - 1]);
            name += "S_IS" + last + "_S" + last + "_E";
        }
        return name;
    };
    EXPECT_EQ(Demangle(growing(1)), "f(T<int, int>, T<T<int, int>, T<int, int> >)");
    const std::string doubling = growing(36);
    EXPECT_EQ(Demangle(doubling), std::nullopt);
    EXPECT_EQ(ShownName(doubling, true), doubling);
    EXPECT_EQ(Demangle("_Z1f" + std::string(100000, 'P') + "i"), std::nullopt);
    EXPECT_EQ(Demangle("_Z1f" + std::string(4000, 'P') + "i"), std::nullopt) << "too deep";
    for (const char* name : {"", "_Z", "main", "_Z99x", "i"}) {
        EXPECT_EQ(Demangle(name), std::nullopt) << name;
    }
}

} // namespace
