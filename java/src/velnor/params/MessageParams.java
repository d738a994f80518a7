package velnor.params;

/**
 * The parameter of one message, for {@link velnor.MessageEncryptor} and its like. It has a tag of its own, which is not
 * part of the ciphertext.
 */
public interface MessageParams extends MechanismParams {
    /**
     * Tells the class of the parameter that the same mechanisms take for an operation without messages.
     *
     * @return a class of this package
     */
    Class<? extends MechanismParams> usualClass();
}
