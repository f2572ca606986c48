// Qualified names, and types as text.
#include "convert/Names.h"

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <utility>

namespace convert {

namespace {

constexpr u32 kMaxDepth = 64;            ///< of scopes, of declarations, of types in types
constexpr u32 kMaxScopes = 256;          ///< around one entry; those further out are left out
constexpr u32 kMaxTypeUnits = 8;         ///< classes of type units in those of others
constexpr std::size_t kMaxText = 16'384; ///< of a name that is put together

constexpr std::string_view kNone = ""; ///< a name that has been looked for

constexpr std::string_view kAnonymousNamespace = "(anonymous namespace)";

/// A name to which template arguments have to be added: producers can be told to leave them out.
bool LacksArguments(std::string_view name)
{
    return !name.empty() && name.back() != '>';
}

/// The entries around one, the unit's own first. (libdw's look-up of scopes skips unions.)
std::vector<Dwarf_Die> ScopesAround(Dwarf_Die die)
{
    std::vector<Dwarf_Die> scopes;
    const Dwarf_Off wanted = dwarf_dieoffset(&die);
    Dwarf_Die at;
    if (dwarf_cu_die(die.cu, &at, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) == nullptr) {
        return scopes;
    }
    while (dwarf_dieoffset(&at) < wanted && scopes.size() < kMaxDepth) {
        scopes.push_back(at);
        Dwarf_Die child;
        if (dwarf_child(&at, &child) != 0) {
            break;
        }
        at = child; // the last child that doesn't begin after the entry contains it, or is it
        while (NextSibling(child) && dwarf_dieoffset(&child) <= wanted) {
            at = child;
        }
    }
    return scopes;
}

} // namespace

bool IsClass(u32 tag)
{
    return tag == DW_TAG_class_type || tag == DW_TAG_structure_type || tag == DW_TAG_union_type ||
           tag == DW_TAG_interface_type;
}

bool IsNamingScope(u32 tag)
{
    return tag == DW_TAG_namespace || tag == DW_TAG_module || IsClass(tag);
}

bool NextSibling(Dwarf_Die& die)
{
    const Dwarf_Off before = dwarf_dieoffset(&die);
    return dwarf_siblingof(&die, &die) == 0 && dwarf_dieoffset(&die) > before;
}

std::string_view ScopeName(u32 tag, std::string_view name)
{
    return name.empty() && tag == DW_TAG_namespace ? kAnonymousNamespace : name;
}

std::string_view Names::Own(u32 node)
{
    if (m_ownOf[node].data() == nullptr) {
        m_ownOf[node] = kNone; // a circle of references finds this
        const std::string_view name = FindOwn(node);
        m_ownOf[node] = name.empty() ? kNone : name;
    }
    return m_ownOf[node];
}

std::string_view Names::FindOwn(u32 node)
{
    u32 at = node;
    for (u32 depth = 0; depth < kMaxDepth && at != kNoNode; ++depth) {
        if (const std::string_view name = m_unit.Text(at, DW_AT_name); !name.empty()) {
            if (!m_unit.HasNamespaces() || !LacksArguments(name)) {
                return name;
            }
            if (at != node) {
                return Own(at);
            }
            bool isTemplate = false;
            m_unit.ForEachChild(at, [&](u32 child) {
                const u32 tag = m_unit.Tag(child);
                isTemplate = isTemplate || tag == DW_TAG_template_type_parameter ||
                             tag == DW_TAG_template_value_parameter || tag == DW_TAG_GNU_template_parameter_pack ||
                             tag == DW_TAG_GNU_template_template_param;
            });
            if (!isTemplate) {
                return name;
            }
            m_ownOf[at] = name; // an argument that leads back here finds this
            return m_made.emplace_back(WithArguments(at, name));
        }
        at = m_unit.DeclarationOf(at);
    }
    for (const u32 attribute : {DW_AT_specification, DW_AT_abstract_origin, DW_AT_signature}) {
        Reference reference = m_unit.Refer(node, attribute);
        if (reference.foreign) {
            Dwarf_Attribute found;
            const char* const name = dwarf_formstring(dwarf_attr_integrate(&*reference.foreign, DW_AT_name, &found));
            return name == nullptr ? std::string_view() : std::string_view(name);
        }
    }
    return {};
}

std::string Names::WithArguments(u32 node, std::string_view name)
{
    const bool before = std::exchange(m_demangled, true);
    std::string text(name);
    text += '<';
    bool first = true;
    const auto add = [&](const std::string& argument) {
        text += first ? "" : ", ";
        text += argument;
        first = false;
    };
    const auto take = [&](u32 child) {
        switch (m_unit.Tag(child)) {
        case DW_TAG_template_type_parameter:
            add(TypeText(m_unit.Refer(child, DW_AT_type)));
            break;
        case DW_TAG_template_value_parameter:
            if (const std::optional<i64> value = m_unit.Signed(child, DW_AT_const_value)) {
                const std::string type = TypeText(m_unit.Refer(child, DW_AT_type));
                add(type == "bool" ? std::string(*value != 0 ? "true" : "false") : std::to_string(*value));
            } else {
                add("...");
            }
            break;
        case DW_TAG_GNU_template_template_param:
            add(std::string(m_unit.Text(child, DW_AT_GNU_template_name)));
            break;
        default:
            break;
        }
    };
    m_unit.ForEachChild(node, [&](u32 child) {
        if (m_unit.Tag(child) == DW_TAG_GNU_template_parameter_pack) {
            m_unit.ForEachChild(child, take);
        } else {
            take(child);
        }
    });
    m_demangled = before;
    text += text.back() == '>' ? " >" : ">";
    if (text.size() > kMaxText) {
        text.resize(kMaxText);
    }
    return text;
}

/// The scopes around an entry, each followed by "::".
std::string Names::Prefix(u32 node)
{
    u32 at = node;
    for (u32 depth = 0; depth < kMaxDepth; ++depth) { // the declaration says where it belongs
        const u32 declaration = m_unit.DeclarationOf(at);
        if (declaration == kNoNode) {
            break;
        }
        at = declaration;
    }
    // Type units declare the classes of others without the namespaces around them; only the definition has these.
    for (const u32 attribute : {DW_AT_specification, DW_AT_abstract_origin, DW_AT_signature}) {
        if (const Reference reference = m_unit.Refer(at, attribute); reference.foreign) {
            const std::string whole = QualifiedName(*reference.foreign);
            const std::string_view own = Own(at);
            return whole.size() > own.size() ? whole.substr(0, whole.size() - own.size()) : std::string();
        }
    }
    u32 scope = m_unit.Parent(at);
    while (scope != kNoNode && scope != 0 && !IsNamingScope(m_unit.Tag(scope))) {
        if (m_unit.Tag(scope) == DW_TAG_subprogram) {
            return {}; // what is in a function has only its own name
        }
        scope = m_unit.Parent(scope);
    }
    if (scope == kNoNode || scope == 0) {
        return {};
    }
    if (m_depth == kMaxScopes) {
        return {};
    }
    ++m_depth;
    const std::string_view qualified = Qualified(scope);
    --m_depth;
    // What is in a class without a name has only its own name, as in debuggers.
    return qualified.empty() ? std::string() : std::string(qualified) + "::";
}

std::string_view Names::Qualified(u32 node)
{
    if (m_qualifiedOf[node].data() == nullptr) {
        m_qualifiedOf[node] = kNone; // a circle of declarations finds this
        const std::string_view name = FindQualified(node);
        m_qualifiedOf[node] = name.empty() ? kNone : name;
    }
    return m_qualifiedOf[node];
}

std::string_view Names::FindQualified(u32 node)
{
    const std::string_view own = ScopeName(m_unit.Tag(node), Own(node));
    if (own.empty()) {
        return {};
    }
    std::string whole = Prefix(node);
    if (whole.empty() && IsOfUnnamedClass(node)) { // a lambda of some compilers; only the linkage name says whose it is
        std::string demangled = Demangled(node);
        return demangled.empty() ? own : m_made.emplace_back(std::move(demangled));
    }
    if (whole.empty()) {
        return own;
    }
    whole += own;
    if (whole.size() > kMaxText) {
        whole.resize(kMaxText);
    }
    return m_made.emplace_back(std::move(whole));
}

std::string_view Names::Linkage(u32 node) const
{
    for (u32 depth = 0; depth < kMaxDepth && node != kNoNode; ++depth) {
        for (const u32 attribute : {DW_AT_linkage_name, DW_AT_MIPS_linkage_name}) {
            if (const std::string_view name = m_unit.Text(node, attribute); !name.empty()) {
                return name;
            }
        }
        node = m_unit.DeclarationOf(node);
    }
    return {};
}

bool Names::IsOfUnnamedClass(u32 node)
{
    u32 at = node;
    for (u32 depth = 0; depth < kMaxDepth; ++depth) {
        const u32 declaration = m_unit.DeclarationOf(at);
        if (declaration == kNoNode) {
            break;
        }
        at = declaration;
    }
    const u32 scope = m_unit.Parent(at);
    return m_unit.Tag(at) == DW_TAG_subprogram && scope != kNoNode && IsClass(m_unit.Tag(scope)) && Own(scope).empty();
}

std::string Names::Demangled(u32 node) const
{
    constexpr std::size_t kMaxMangled = 1024; // what repeats itself grows with each byte
    const std::string mangled(Linkage(node));
    if (!mangled.starts_with("_Z") || mangled.size() > kMaxMangled) {
        return {};
    }
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status), &std::free);
    const std::string_view whole = status == 0 ? text.get() : "";
    // The last parentheses enclose the parameters; qualifiers may follow them.
    std::size_t at = whole.rfind(')');
    for (u32 open = 0; at != std::string_view::npos; --at) {
        open += whole[at] == ')' ? 1 : 0;
        open -= whole[at] == '(' ? 1 : 0;
        if (open == 0) {
            return std::string(whole.substr(0, std::min(at, kMaxText)));
        }
        if (at == 0) {
            break;
        }
    }
    return {};
}

std::string Names::Parameters(u32 subroutine, bool method, u32 depth)
{
    std::string text;
    bool first = true;
    m_unit.ForEachChild(subroutine, [&](u32 child) {
        const u32 tag = m_unit.Tag(child);
        if (tag != DW_TAG_formal_parameter && tag != DW_TAG_unspecified_parameters) {
            return;
        }
        const bool hidden = method && m_unit.Flag(child, DW_AT_artificial);
        if (hidden || text.size() > kMaxText) {
            return;
        }
        text += first ? "" : ", ";
        first = false;
        if (tag == DW_TAG_unspecified_parameters) {
            text += "...";
            return;
        }
        std::string before;
        std::string after;
        Declare(m_unit.Refer(child, DW_AT_type), before, after, depth);
        text += before + after;
    });
    return text;
}

/// What follows the parameters of a member function: " const" where what `this` points to is.
std::string Names::Qualifiers(u32 subroutine) const
{
    std::string text;
    const u32 first = subroutine + 1;
    if (first >= m_unit.End(subroutine) || m_unit.Tag(first) != DW_TAG_formal_parameter ||
        !m_unit.Flag(first, DW_AT_artificial)) {
        return text;
    }
    const u32 pointer = m_unit.Refer(first, DW_AT_type).node; // perhaps const itself
    const u32 bare = pointer != kNoNode && m_unit.Tag(pointer) == DW_TAG_const_type
                         ? m_unit.Refer(pointer, DW_AT_type).node
                         : pointer;
    u32 target = bare != kNoNode ? m_unit.Refer(bare, DW_AT_type).node : kNoNode;
    for (u32 steps = 0; target != kNoNode && steps < 2; ++steps) {
        const u32 tag = m_unit.Tag(target);
        if (tag != DW_TAG_const_type && tag != DW_TAG_volatile_type) {
            break;
        }
        text += tag == DW_TAG_const_type ? " const" : " volatile";
        target = m_unit.Refer(target, DW_AT_type).node;
    }
    return text;
}

/// The tag of a type of this unit, through const and volatile; 0 for others.
u32 Names::TagBehindModifiers(Reference type) const
{
    for (u32 steps = 0; steps < kMaxDepth && type.IsLocal(); ++steps) {
        const u32 tag = m_unit.Tag(type.node);
        if (tag != DW_TAG_const_type && tag != DW_TAG_volatile_type) {
            return tag;
        }
        type = m_unit.Refer(type.node, DW_AT_type);
    }
    return 0;
}

/// Builds a declarator without a name: `before` and `after` are the texts on its two sides.
void Names::Declare(Reference type, std::string& before, std::string& after, u32 depth)
{
    if (depth > kMaxDepth || before.size() + after.size() > kMaxText) {
        before += "...";
        return;
    }
    if (!type) {
        before += "void";
        return;
    }
    if (!type.IsLocal()) {
        before += QualifiedName(*type.foreign);
        return;
    }
    const u32 node = type.node;
    const Reference target = m_unit.Refer(node, DW_AT_type);
    const auto targetTag = [&] { return target.IsLocal() ? m_unit.Tag(target.node) : 0; };
    const auto pointer = [&](const std::string& sign) {
        const u32 tag = TagBehindModifiers(target);
        const bool inBrackets = tag == DW_TAG_subroutine_type || tag == DW_TAG_array_type;
        std::string inner;
        std::string outer;
        Declare(target, inner, outer, depth + 1);
        before += inner + (inBrackets ? " (" : m_demangled ? "" : " ") + sign;
        after = (inBrackets ? ")" : "") + outer + after;
    };
    switch (m_unit.Tag(node)) {
    case DW_TAG_pointer_type:
        return pointer("*");
    case DW_TAG_reference_type:
        return pointer("&");
    case DW_TAG_rvalue_reference_type:
        return pointer("&&");
    case DW_TAG_ptr_to_member_type: {
        std::string inner;
        std::string outer;
        Reference containing = m_unit.Refer(node, DW_AT_containing_type);
        std::string name;
        std::string ignored;
        Declare(containing, name, ignored, depth + 1);
        if (targetTag() == DW_TAG_subroutine_type) {
            Declare(m_unit.Refer(target.node, DW_AT_type), inner, outer, depth + 1);
            before += inner + " (" + name + "::*";
            after = ")(" + Parameters(target.node, true, depth + 1) + ")" + Qualifiers(target.node) + outer + after;
        } else {
            Declare(target, inner, outer, depth + 1);
            before += inner + " " + name + "::*";
            after = outer + after;
        }
        return;
    }
    case DW_TAG_const_type:
    case DW_TAG_volatile_type: {
        const std::string word = m_unit.Tag(node) == DW_TAG_const_type ? "const" : "volatile";
        const bool behind =
            m_demangled || targetTag() == DW_TAG_pointer_type || targetTag() == DW_TAG_ptr_to_member_type;
        std::string inner;
        Declare(target, inner, after, depth + 1);
        before += behind ? inner + " " + word : word + " " + inner;
        return;
    }
    case DW_TAG_restrict_type:
    case DW_TAG_atomic_type:
        return Declare(target, before, after, depth + 1);
    case DW_TAG_array_type: {
        std::string inner;
        Declare(target, inner, after, depth + 1);
        before += inner;
        std::string bounds;
        m_unit.ForEachChild(node, [&](u32 child) {
            if (m_unit.Tag(child) == DW_TAG_subrange_type && bounds.size() < kMaxText) {
                const std::optional<u64> upper = m_unit.Number(child, DW_AT_upper_bound);
                const std::optional<u64> count = upper ? std::optional(*upper + 1) : m_unit.Number(child, DW_AT_count);
                bounds += '[' + (count ? std::to_string(*count) : std::string()) + ']';
            }
        });
        after = bounds + after;
        return;
    }
    case DW_TAG_subroutine_type: {
        std::string inner;
        Declare(target, inner, after, depth + 1);
        before += inner;
        after = (m_demangled && !before.ends_with('(') ? " (" : "(") + Parameters(node, false, depth + 1) + ")" + after;
        return;
    }
    default: {
        const std::string_view name = Qualified(node);
        before += name.empty() ? std::string_view("{...}") : name;
    }
    }
}

std::string Names::TypeText(Reference type)
{
    std::string before;
    std::string after;
    Declare(type, before, after, 0);
    return before + after;
}

namespace {

/// @param depth of classes of type units in those of others.
std::string QualifiedName(Dwarf_Die die, u32 depth)
{
    Dwarf_Attribute found;
    const char* const own = dwarf_formstring(dwarf_attr_integrate(&die, DW_AT_name, &found));
    Dwarf_Die declaration = die;
    for (u32 steps = 0; steps < kMaxDepth; ++steps) {
        Dwarf_Attribute reference;
        Dwarf_Die next;
        if ((dwarf_attr(&declaration, DW_AT_specification, &reference) == nullptr &&
             dwarf_attr(&declaration, DW_AT_abstract_origin, &reference) == nullptr) ||
            dwarf_formref_die(&reference, &next) == nullptr) {
            break;
        }
        declaration = next;
    }
    std::string text = own == nullptr ? "" : own;
    if (text.empty()) {
        return text;
    }
    const std::vector<Dwarf_Die> scopes = ScopesAround(declaration);
    for (auto at = scopes.rbegin(); at != scopes.rend() && text.size() < kMaxText; ++at) {
        Dwarf_Die scope = *at;
        const u32 tag = static_cast<u32>(dwarf_tag(&scope));
        if (tag == DW_TAG_subprogram) {
            break;
        }
        if (!IsNamingScope(tag)) {
            continue;
        }
        Dwarf_Die whole;
        if (depth < kMaxTypeUnits && dwarf_attr(&scope, DW_AT_signature, &found) != nullptr &&
            dwarf_formref_die(&found, &whole) != nullptr) {
            const std::string outer = QualifiedName(whole, depth + 1);
            return outer.empty() ? text : outer + "::" + text;
        }
        const char* const word = dwarf_diename(&scope);
        const std::string_view name = ScopeName(tag, word == nullptr ? "" : word);
        if (name.empty()) {
            break;
        }
        text = std::string(name) + "::" + text;
    }
    return text;
}

} // namespace

std::string QualifiedName(Dwarf_Die die)
{
    return QualifiedName(die, 0);
}

} // namespace convert
