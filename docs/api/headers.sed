# Copies and destructors that need no comment are left out, so that Doxygen asks for none. What stands
# behind a comment stays.
/^ *\/\/\//{
    :comment
    n
    /^ *\/\/\//b comment
    b
}
s/^ .*\((const )?[A-Za-z]+ ?&&?( other)?\)( noexcept)? = (default|delete);//
s/^ *(virtual )?~[A-Za-z]+\(\)( override)?( = default)?;//
