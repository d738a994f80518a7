package velnor;

import velnor.nat.Function;

/** The kinds of operations that go on in a token, with the functions that make them up. */
enum OperationKind {
    ENCRYPTION(Function.ENCRYPT_INIT, Function.ENCRYPT, Function.ENCRYPT_UPDATE, Function.ENCRYPT_FINAL, CKF.ENCRYPT),
    DECRYPTION(Function.DECRYPT_INIT, Function.DECRYPT, Function.DECRYPT_UPDATE, Function.DECRYPT_FINAL, CKF.DECRYPT),
    DIGEST(Function.DIGEST_INIT, Function.DIGEST, Function.DIGEST_UPDATE, Function.DIGEST_FINAL, CKF.DIGEST),
    SIGNATURE(Function.SIGN_INIT, Function.SIGN, Function.SIGN_UPDATE, Function.SIGN_FINAL, CKF.SIGN),
    VERIFICATION(Function.VERIFY_INIT, Function.VERIFY, Function.VERIFY_UPDATE, Function.VERIFY_FINAL, CKF.VERIFY),
    /** In one part only, as is its counterpart. */
    RECOVERABLE_SIGNATURE(Function.SIGN_RECOVER_INIT, Function.SIGN_RECOVER, null, null, CKF.SIGN_RECOVER),
    RECOVERY(Function.VERIFY_RECOVER_INIT, Function.VERIFY_RECOVER, null, null, CKF.VERIFY_RECOVER),
    // Those of messages go on until they are ended, whatever the messages have been.
    MESSAGE_ENCRYPTION(Function.MESSAGE_ENCRYPT_INIT, Function.ENCRYPT_MESSAGE, Function.ENCRYPT_MESSAGE_NEXT,
            Function.MESSAGE_ENCRYPT_FINAL, CKF.MESSAGE_ENCRYPT),
    MESSAGE_DECRYPTION(Function.MESSAGE_DECRYPT_INIT, Function.DECRYPT_MESSAGE, Function.DECRYPT_MESSAGE_NEXT,
            Function.MESSAGE_DECRYPT_FINAL, CKF.MESSAGE_DECRYPT),
    MESSAGE_SIGNATURE(Function.MESSAGE_SIGN_INIT, Function.SIGN_MESSAGE, Function.SIGN_MESSAGE_NEXT,
            Function.MESSAGE_SIGN_FINAL, CKF.MESSAGE_SIGN),
    MESSAGE_VERIFICATION(Function.MESSAGE_VERIFY_INIT, Function.VERIFY_MESSAGE, Function.VERIFY_MESSAGE_NEXT,
            Function.MESSAGE_VERIFY_FINAL, CKF.MESSAGE_VERIFY);

    static final int COUNT = values().length;

    private final Function init;
    private final Function whole;
    private final Function part;
    private final Function last;
    private final int flag;

    OperationKind(Function init, Function whole, Function part, Function last, int flag) {
        this.init = init;
        this.whole = whole;
        this.part = part;
        this.last = last;
        this.flag = flag;
    }

    /** Begins it. */
    Function init() {
        return init;
    }

    /** Does it in one part, to the end. */
    Function whole() {
        return whole;
    }

    /** Goes on with a part. */
    Function part() {
        return part;
    }

    /** Ends it after parts. */
    Function last() {
        return last;
    }

    /** Stands for it in {@code C_SessionCancel}. */
    int flag() {
        return flag;
    }
}
