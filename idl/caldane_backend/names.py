# SPDX-License-Identifier: MIT
"""Names of IDL as names of C++."""

# With the namespaces that generated code names itself.
KEYWORDS = frozenset('''
alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t char32_t class co_await
co_return co_yield compl concept const const_cast consteval constexpr constinit continue decltype default delete do
double dynamic_cast else enum explicit export extern false float for friend goto if inline int long mutable namespace
new noexcept not not_eq nullptr operator or or_eq private protected public register reinterpret_cast requires return
short signed sizeof static static_assert static_cast struct switch template this thread_local throw true try typedef
typeid typename union unsigned using virtual void volatile wchar_t while xor xor_eq
std Caldane
'''.split())

# Names that headers of the C library define as macros: those of constants, errors, limits and signals.
MACROS = frozenset('''
NULL EOF TRUE FALSE BUFSIZ EDOM ERANGE HUGE_VAL INFINITY NAN assert errno stdin stdout stderr major minor makedev
linux unix signals INT_MAX INT_MIN LONG_MAX LONG_MIN
BIG_ENDIAN LITTLE_ENDIAN PDP_ENDIAN BYTE_ORDER SEEK_SET SEEK_CUR SEEK_END EXIT_SUCCESS EXIT_FAILURE RAND_MAX
PATH_MAX NAME_MAX PIPE_BUF LINE_MAX IOV_MAX HOST_NAME_MAX LOGIN_NAME_MAX TMP_MAX FILENAME_MAX FOPEN_MAX CHAR_BIT
WORD_BIT LONG_BIT WEOF F_OK R_OK W_OK X_OK CLOCKS_PER_SEC LC_ALL LC_TIME LC_NAME LC_NUMERIC LC_ADDRESS
LC_MEASUREMENT LC_MESSAGES LC_MONETARY LC_PAPER LC_TELEPHONE LC_IDENTIFICATION LC_COLLATE LC_CTYPE NZERO NFDBITS
FD_SETSIZE MB_CUR_MAX MB_LEN_MAX STDIN_FILENO STDOUT_FILENO STDERR_FILENO alloca offsetof TIME_UTC CHAR_MAX
CHAR_MIN SCHAR_MAX SCHAR_MIN UCHAR_MAX SHRT_MAX SHRT_MIN USHRT_MAX UINT_MAX ULONG_MAX LLONG_MAX LLONG_MIN
ULLONG_MAX WCHAR_MAX WCHAR_MIN INT8_MAX INT8_MIN INT16_MAX INT16_MIN INT32_MAX INT32_MIN INT64_MAX INT64_MIN
UINT8_MAX UINT16_MAX UINT32_MAX UINT64_MAX INTMAX_MAX INTMAX_MIN UINTMAX_MAX INTPTR_MAX INTPTR_MIN UINTPTR_MAX
PTRDIFF_MAX PTRDIFF_MIN SIZE_MAX SSIZE_MAX SIGABRT SIGALRM SIGBUS SIGCHLD SIGCONT SIGFPE SIGHUP SIGILL SIGINT
SIGIO SIGKILL SIGPIPE SIGPROF SIGPWR SIGQUIT SIGSEGV SIGSTOP SIGSYS SIGTERM SIGTRAP SIGTSTP SIGTTIN SIGTTOU
SIGURG SIGUSR1 SIGUSR2 SIGVTALRM SIGWINCH SIGXCPU SIGXFSZ E2BIG EACCES EADDRINUSE EADDRNOTAVAIL EADV
EAFNOSUPPORT EAGAIN EALREADY EBADE EBADF EBADFD EBADMSG EBADR EBADRQC EBADSLT EBFONT EBUSY ECANCELED ECHILD
ECHRNG ECOMM ECONNABORTED ECONNREFUSED ECONNRESET EDEADLK EDEADLOCK EDESTADDRREQ EDOTDOT EDQUOT EEXIST EFAULT EFBIG
EHOSTDOWN EHOSTUNREACH EIDRM EILSEQ EINPROGRESS EINTR EINVAL EIO EISCONN EISDIR EISNAM EKEYEXPIRED EKEYREJECTED
EKEYREVOKED EL2HLT EL2NSYNC EL3HLT EL3RST ELIBACC ELIBBAD ELIBEXEC ELIBMAX ELIBSCN ELNRNG ELOOP EMEDIUMTYPE
EMFILE EMLINK EMSGSIZE EMULTIHOP ENAMETOOLONG ENAVAIL ENETDOWN ENETRESET ENETUNREACH ENFILE ENOANO ENOBUFS
ENOCSI ENODATA ENODEV ENOENT ENOEXEC ENOKEY ENOLCK ENOLINK ENOMEDIUM ENOMEM ENOMSG ENONET ENOPKG ENOPROTOOPT
ENOSPC ENOSR ENOSTR ENOSYS ENOTBLK ENOTCONN ENOTDIR ENOTEMPTY ENOTNAM ENOTRECOVERABLE ENOTSOCK ENOTSUP ENOTTY
ENOTUNIQ ENXIO EOPNOTSUPP EOVERFLOW EOWNERDEAD EPERM EPFNOSUPPORT EPIPE EPROTO EPROTONOSUPPORT EPROTOTYPE
EREMCHG EREMOTE EREMOTEIO ERESTART ERFKILL EROFS ESHUTDOWN ESOCKTNOSUPPORT ESPIPE ESRCH ESRMNT ESTALE ESTRPIPE
ETIME ETIMEDOUT ETOOMANYREFS ETXTBSY EUCLEAN EUNATCH EUSERS EWOULDBLOCK EXDEV EXFULL
'''.split())

# Functions of the base of a union class, which those of a member of the same name would hide or clash with.
UNION_NAMES = frozenset((
    'active', 'active_from', 'active_index', 'active_member', 'demarshal_member', 'discriminator',
    'discriminator_type', 'get', 'getProperty', 'is_nil', 'member_name', 'property', 'repository_id', 'select',
    'select_from', 'set', 'setProperty', 'type_name', 'type_namespace'))


# Names of the bases of stubs that parameters would hide, and those of all bases that hide types.
STUB_NAMES = frozenset(('nil_', 'Properties', 'properties_', 'Reference'))
BASE_NAMES = UNION_NAMES | STUB_NAMES | frozenset((
    'member_count', 'message', 'message_', 'value', 'value_', 'what'))


def cxx(name: str, taken: frozenset[str] = frozenset()) -> str:
    """The name itself, with `_cxx_` before it where C++ or a macro has another meaning for it."""
    return '_cxx_' + name if name in KEYWORDS or name in MACROS or name in taken else name


def unlike(name: str, others: list[str]) -> str:
    """A name that none of the others hides."""
    while name in others:
        name += '_'
    return name


def parameters(members: list[str]) -> list[str]:
    """What a constructor calls the values of its members: names that hide no member, nor one of the base."""
    taken = [*members, 'message_', 'nil_', 'properties_']
    for member in members:
        taken.append(unlike(member + '_', taken))
    return taken[len(taken) - len(members):]


def qualified(scope: list[str]) -> str:
    return '::'.join(cxx(part) for part in scope)
