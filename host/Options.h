// The words and options of a command: declared once, and read by the parser, the help and the completions.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

class Options {
public:
    /// @param fileIsOpen no FILE is to be declared: the command runs on one that is open.
    explicit Options(bool fileIsOpen = false)
        : m_fileIsOpen(fileIsOpen)
    {
    }

    bool IsFileOpen() const { return m_fileIsOpen; }

    enum Need {
        Required,
        Optional,
        OrInput, ///< read from standard input if missing; required at the console, whose lines come from there
    };

    /// What a shell can offer for a value.
    enum class Offer {
        Nothing,
        Files,
        Folders,
        Names, ///< of symbols of the command's file
        Units, ///< of it
    };

    /// Takes one value. @return why it can't; empty if it can.
    using Take = std::function<std::string(const std::string&)>;

    struct Item {
        std::string name;  ///< of an option, with its dashes; of a word, as the help shows it
        std::string value; ///< what the help shows for the value of an option; empty for a flag
        std::string help;
        bool isWord;
        bool required;
        bool repeats;
        std::vector<std::string> choices;
        Offer offer;
        Take take;
    };

    /// A word that stands by itself.
    void Word(const std::string& name, std::string& word, Need need, const std::string& help,
              Offer offer = Offer::Nothing);
    /// All further such words.
    void Words(const std::string& name, std::vector<std::string>& words, Need need, const std::string& help,
               Offer offer = Offer::Nothing);
    /// The same, passed to a function one by one.
    void Words(const std::string& name, Need need, const std::string& help, Take take);

    void Flag(const std::string& name, bool& on, const std::string& help);
    /// A flag that is handled elsewhere.
    void Flag(const std::string& name, const std::string& help);
    /// An option with a value.
    void Value(const std::string& name, const std::string& value, std::string& text, const std::string& help,
               Offer offer = Offer::Nothing);
    void Value(const std::string& name, const std::string& value, const std::string& help, Take take,
               Offer offer = Offer::Nothing);
    /// An option that may be given several times.
    void Values(const std::string& name, const std::string& value, std::vector<std::string>& texts,
                const std::string& help);
    /// An option whose value is one of a few words.
    template <typename Target, typename Chosen>
    void Choice(const std::string& name, Target& target, const std::vector<std::pair<std::string, Chosen>>& choices,
                const std::string& help);

    /// Makes the last item required.
    void Require() { m_items.back().required = true; }
    /// Says what a shell can offer for the last item.
    void Offering(Offer offer) { m_items.back().offer = offer; }

    const std::vector<Item>& Items() const { return m_items; }

private:
    bool IsRequired(Need need) const { return need == Required || (need == OrInput && m_fileIsOpen); }
    Item& Add(const std::string& name, const std::string& help, Take take);
    /// Takes the index of the choice.
    void AddChoice(const std::string& name, std::vector<std::string> choices, const std::string& help,
                   std::function<void(std::size_t)> take);

    bool m_fileIsOpen;
    std::vector<Item> m_items;
};

template <typename Target, typename Chosen>
void Options::Choice(const std::string& name, Target& target,
                     const std::vector<std::pair<std::string, Chosen>>& choices, const std::string& help)
{
    std::vector<std::string> words;
    for (const auto& [word, chosen] : choices) {
        words.push_back(word);
    }
    AddChoice(name, std::move(words), help, [&target, choices](std::size_t index) { target = choices[index].second; });
}
