# Writes the YANG modules named in MODULES (paths separated by "|") into the C++ source OUTPUT, as text literals.
string(REPLACE "|" ";" module_files "${MODULES}")
set(source "// Generated from the modules in yang/. Knows nothing but their texts.\n")
string(APPEND source "#include \"yang/modules.h\"\n\nnamespace ocamp {\n\nnamespace {\n\n")
string(APPEND source "constexpr YangModule carried_modules[] = {\n")
foreach(file IN LISTS module_files)
    get_filename_component(name "${file}" NAME_WE)
    file(READ "${file}" text)
    # A literal may hold 64 KiB at the most by the language; the modules are far below.
    string(APPEND source "    {\"${name}\", R\"__yang__(${text})__yang__\"},\n")
endforeach()
string(APPEND source "};\n\n} // namespace\n\n")
string(APPEND source "std::span<const YangModule> yang_modules() noexcept {\n    return carried_modules;\n}\n\n} // namespace ocamp\n")
file(WRITE "${OUTPUT}" "${source}")
