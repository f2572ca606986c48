// Declarations of options.
#include "host/Options.h"

#include <algorithm>

namespace {

Options::Take Into(std::string& text)
{
    return [&text](const std::string& value) {
        text = value;
        return std::string();
    };
}

Options::Take Into(std::vector<std::string>& texts)
{
    return [&texts](const std::string& value) {
        texts.push_back(value);
        return std::string();
    };
}

/// "a, b and c"
std::string Listed(const std::vector<std::string>& words)
{
    std::string list;
    for (std::size_t i = 0; i < words.size(); ++i) {
        list += (i == 0 ? "" : i + 1 == words.size() ? " and " : ", ") + words[i];
    }
    return list;
}

} // namespace

Options::Item& Options::Add(const std::string& name, const std::string& help, Take take)
{
    return m_items.emplace_back(Item{name, "", help, false, false, false, {}, Offer::Nothing, std::move(take)});
}

void Options::Word(const std::string& name, std::string& word, Need need, const std::string& help, Offer offer)
{
    Item& item = Add(name, help, Into(word));
    item.isWord = true;
    item.required = IsRequired(need);
    item.offer = offer;
}

void Options::Words(const std::string& name, std::vector<std::string>& words, Need need, const std::string& help,
                    Offer offer)
{
    Words(name, need, help, Into(words));
    m_items.back().offer = offer;
}

void Options::Words(const std::string& name, Need need, const std::string& help, Take take)
{
    Item& item = Add(name, help, std::move(take));
    item.isWord = true;
    item.repeats = true;
    item.required = IsRequired(need);
}

void Options::Flag(const std::string& name, bool& on, const std::string& help)
{
    Add(name, help, [&on](const std::string&) {
        on = true;
        return std::string();
    });
}

void Options::Flag(const std::string& name, const std::string& help)
{
    Add(name, help, [](const std::string&) { return std::string(); });
}

void Options::Value(const std::string& name, const std::string& value, std::string& text, const std::string& help,
                    Offer offer)
{
    Value(name, value, help, Into(text), offer);
}

void Options::Value(const std::string& name, const std::string& value, const std::string& help, Take take, Offer offer)
{
    Item& item = Add(name, help, std::move(take));
    item.value = value;
    item.offer = offer;
}

void Options::Values(const std::string& name, const std::string& value, std::vector<std::string>& texts,
                     const std::string& help)
{
    Value(name, value, help, Into(texts));
    m_items.back().repeats = true;
}

void Options::AddChoice(const std::string& name, std::vector<std::string> choices, const std::string& help,
                        std::function<void(std::size_t)> take)
{
    std::string value;
    for (const std::string& choice : choices) {
        value += (value.empty() ? "" : "|") + choice;
    }
    Value(name, value, help, [choices, take = std::move(take)](const std::string& text) {
        const auto found = std::find(choices.begin(), choices.end(), text);
        if (found == choices.end()) {
            return "'" + text + "' is none of " + Listed(choices);
        }
        take(static_cast<std::size_t>(found - choices.begin()));
        return std::string();
    });
    m_items.back().choices = std::move(choices);
}
