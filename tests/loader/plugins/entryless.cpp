// A plug-in that forgot its entry function; an object that it depends on has one.
namespace {

[[maybe_unused]] int const loaded = 1;

}  // namespace
