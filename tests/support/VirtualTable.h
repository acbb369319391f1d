#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

namespace KVR::Support
{

/**
 * Tools to compare an interface with the positions in the virtual table that its callers were
 * compiled for. They rely on the Itanium C++ ABI, where an operation is called like a free function
 * whose first argument is the object.
 */

/** Calls the operation in a slot (0 is the first one) of the object's own table. */
template <typename Result, typename... Arguments, typename Interface>
Result callSlot(Interface& object, std::size_t slot, Arguments... arguments)
{
    using Function = Result (*)(Interface*, Arguments...);
    const void* const* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
    Function function = nullptr;
    std::memcpy(&function, table + slot, sizeof function);
    return function(&object, arguments...);
}

/**
 * An object that consists of a virtual table only. Operations that were not set throw
 * std::logic_error with the text "slot N".
 */
template <typename Interface, std::size_t Slots>
class HandMadeObject
{
public:
    HandMadeObject() : HandMadeObject(std::make_index_sequence<Slots>()) {}

    HandMadeObject(const HandMadeObject&) = delete;
    HandMadeObject& operator=(const HandMadeObject&) = delete;

    /**
     * @param function what the slot shall call; its first argument points to the object
     *        (`Interface*`, or `const Interface*` for a constant operation)
     */
    template <typename Function>
    void Set(std::size_t slot, Function* function)
    {
        static_assert(sizeof function == sizeof(const void*));
        std::memcpy(&table_.at(slot + firstSlot), &function, sizeof function);
    }

    /** The object; only the operations of its table may be used. */
    Interface& Get()
    {
        const void* const* const functions = table_.data() + firstSlot;
        std::memcpy(storage_.data(), &functions, sizeof functions);
        void* object = storage_.data();
        // the compiler must not conclude from the storage what the object's class is
        asm volatile("" : "+r"(object) : : "memory");
        return *static_cast<Interface*>(object);
    }

private:
    /** The offset to the top and the type, which run-time type checks read, precede the slots. */
    static constexpr std::size_t firstSlot = 2;

    template <std::size_t Slot>
    static void NotSet(void*)
    {
        throw std::logic_error("slot " + std::to_string(Slot));
    }

    template <std::size_t... Slot>
    explicit HandMadeObject(std::index_sequence<Slot...>)
    {
        table_[1] = &typeid(Interface);
        (Set(Slot, &NotSet<Slot>), ...);
    }

    std::array<const void*, Slots + firstSlot> table_ = {};
    alignas(Interface) std::array<unsigned char, sizeof(Interface)> storage_ = {};
};

} // namespace KVR::Support
